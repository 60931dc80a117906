find_package(Threads REQUIRED)
find_package(PkgConfig REQUIRED)
find_package(Python3 REQUIRED COMPONENTS Interpreter)
find_package(Protobuf REQUIRED)
find_package(gRPC CONFIG REQUIRED)
find_package(fmt CONFIG REQUIRED)
find_package(spdlog CONFIG REQUIRED)
find_package(Boost 1.74 REQUIRED)
pkg_check_modules(jsoncpp REQUIRED IMPORTED_TARGET jsoncpp)
pkg_check_modules(libcurl REQUIRED IMPORTED_TARGET libcurl)
pkg_check_modules(libmodbus REQUIRED IMPORTED_TARGET libmodbus)
pkg_check_modules(wolfssl REQUIRED IMPORTED_TARGET wolfssl)
find_path(ASIO_INCLUDE_DIR asio.hpp REQUIRED)  # headers only
# For the simulated meters only.
pkg_check_modules(microhttpd REQUIRED IMPORTED_TARGET libmicrohttpd)
# Boards without it find no services on the network; everything else works there too.
option(CURRENTCONTROL_AVAHI "Find services on the network by avahi, where it is installed" ON)
if(CURRENTCONTROL_AVAHI)
  pkg_check_modules(avahi IMPORTED_TARGET avahi-client)
endif()

# gRPC's target asks for the full protobuf runtime, which the library itself does not need: messages of the
# `ipc` namespace are lite ones, so the whole process gets by with the lite runtime.
get_target_property(grpcLinks gRPC::grpc++_unsecure INTERFACE_LINK_LIBRARIES)
list(TRANSFORM grpcLinks REPLACE "^protobuf::libprotobuf$" "protobuf::libprotobuf-lite")
set_target_properties(gRPC::grpc++_unsecure PROPERTIES INTERFACE_LINK_LIBRARIES "${grpcLinks}")

# From the host, also when building for the board.
find_program(PROTOC protoc REQUIRED NO_CMAKE_FIND_ROOT_PATH)
