list(APPEND PLATFORM_SOURCES)
set(PLATFORM_GRPC_SOURCES rpc/appcommunicationhost.h)
