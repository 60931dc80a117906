list(APPEND PLATFORM_SOURCES
  rpc/channel.cpp rpc/client.cpp rpc/inprocessbackend.cpp rpc/inprocessnetwork.cpp rpc/inprocesssubscription.cpp
  rpc/kologger.cpp rpc/notifier.cpp rpc/serviceaddresses.cpp rpc/servicetable.cpp)
set(PLATFORM_GRPC_SOURCES rpc/appcommunicationhost.h)
