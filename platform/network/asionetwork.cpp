#include "platform/network/asionetwork.h"

#include <net/if.h>

#include "platform/network/asioudpsocket.h"

std::uint32_t CAsioNetwork::FindInterfaceIndex(const std::string& adapter) const {
  return ::if_nametoindex(adapter.c_str());
}

std::unique_ptr<IUdpSocket> CAsioNetwork::CreateUdpSocket(const std::string& threadName) {
  return CreateAsioUdpSocket(threadName);
}
