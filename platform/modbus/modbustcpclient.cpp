#include "platform/modbus/modbustcpclient.h"

#include <array>
#include <cerrno>
#include <chrono>
#include <string>
#include <utility>
#include <variant>
#include <vector>

#include <fmt/format.h>
#include <modbus/modbus.h>
#include <netdb.h>
#include <sys/socket.h>

namespace {

using AddressList = std::unique_ptr<addrinfo, void (*)(addrinfo*)>;

/// The server's addresses as numbers, in the order in which they are to be tried.
std::variant<std::vector<std::string>, std::string> LookUp(const std::string& host) {
  addrinfo hints{};
  hints.ai_socktype = SOCK_STREAM;
  addrinfo* found = nullptr;
  const int error = ::getaddrinfo(host.c_str(), nullptr, &hints, &found);
  if (error != 0) return fmt::format("looking \"{}\" up: {}", host, ::gai_strerror(error));
  const AddressList list(found, ::freeaddrinfo);
  std::vector<std::string> addresses;
  for (const addrinfo* each = list.get(); each != nullptr; each = each->ai_next) {
    std::array<char, NI_MAXHOST> text{};
    if (::getnameinfo(each->ai_addr, each->ai_addrlen, text.data(), text.size(), nullptr, 0,
                      NI_NUMERICHOST) == 0)
      addresses.emplace_back(text.data());
  }
  return addresses;
}

}  // namespace

CModbusTcpClient::CModbusTcpClient(SModbusTcpServer server) : mServer(std::move(server)) {}

SModbusResult CModbusTcpClient::Connect() {
  if (mContext) return {};
  const auto found = LookUp(mServer.host);
  if (const auto* failure = std::get_if<std::string>(&found)) return {SModbusResult::EKind::Lost, *failure};
  const auto& addresses = std::get<std::vector<std::string>>(found);
  const std::string port = std::to_string(mServer.port);
  const auto end = std::chrono::steady_clock::now() + kConnectTimeout;
  SModbusResult result = ModbusError::Lost("connecting", EADDRNOTAVAIL);
  for (std::size_t i = 0; i < addresses.size(); ++i) {
    // Each gets its part of what is left, so that one that is silent does not use up the others' time.
    const auto left = std::chrono::duration_cast<Milliseconds>(end - std::chrono::steady_clock::now()) /
                      static_cast<std::int64_t>(addresses.size() - i);
    if (left <= Milliseconds{0}) break;
    auto context = std::make_unique<CModbusContext>(modbus_new_tcp_pi(addresses[i].c_str(), port.c_str()));
    result = context->Connect(left);
    if (!result) continue;
    mContext = std::move(context);
    break;
  }
  return result;
}

void CModbusTcpClient::Disconnect() {
  mContext.reset();
}

SModbusResult CModbusTcpClient::Read(EModbusTable table, std::uint8_t unit, std::uint16_t address,
                                     std::span<std::uint16_t> registers) {
  if (!mContext) return ModbusError::Lost("reading", ENOTCONN);
  SModbusResult result = mContext->Read(table, unit, address, registers);
  if (result.kind == SModbusResult::EKind::Lost) Disconnect();
  return result;
}
