list(APPEND PLATFORM_SOURCES
  rpc/channel.cpp rpc/client.cpp rpc/inprocessbackend.cpp rpc/inprocessnetwork.cpp rpc/inprocesssubscription.cpp
  rpc/kologger.cpp rpc/notifier.cpp rpc/serviceaddresses.cpp rpc/servicetable.cpp)
set(PLATFORM_GRPC_SOURCES
  rpc/grpcaddress.cpp rpc/grpcbackend.cpp rpc/grpccall.cpp rpc/grpcchannel.cpp rpc/grpceventloop.cpp
  rpc/grpchandlerturns.cpp rpc/grpcserver.cpp rpc/grpcsubscription.cpp rpc/unixsocket.cpp)
