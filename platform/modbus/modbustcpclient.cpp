#include "platform/modbus/modbustcpclient.h"

#include <atomic>
#include <cerrno>
#include <chrono>
#include <utility>

#include <modbus/modbus.h>
#include <sys/socket.h>

CModbusTcpClient::CModbusTcpClient(SModbusTcpServer server, std::shared_ptr<CWorker> watch,
                                   HostResolver resolve)
    : mServer(std::move(server)), mWatch(std::move(watch)), mLookUp(mServer.host, std::move(resolve)) {}

SModbusResult CModbusTcpClient::Connect() {
  if (mContext) return {};
  std::vector<std::string> addresses{mGoodAddress};
  if (mGoodAddress.empty() || mIsInDoubt) {
    SHostAddresses found = mLookUp.Await(kConnectTimeout);
    if (found.failure.empty()) {
      addresses = std::move(found.addresses);
    } else if (mGoodAddress.empty()) {
      return {SModbusResult::EKind::Lost, std::move(found.failure)};
    }
  }
  SModbusResult result = ConnectToOneOf(addresses);
  mIsInDoubt = !result;
  return result;
}

SModbusResult CModbusTcpClient::ConnectToOneOf(const std::vector<std::string>& addresses) {
  const std::string port = std::to_string(mServer.port);
  const auto end = std::chrono::steady_clock::now() + kConnectTimeout;
  SModbusResult result = ModbusError::Lost("connecting", EADDRNOTAVAIL);
  for (std::size_t i = 0; i < addresses.size(); ++i) {
    // Each gets its part of what is left, so that one that is silent does not use up the others' time.
    const auto left = std::chrono::duration_cast<Milliseconds>(end - std::chrono::steady_clock::now()) /
                      static_cast<std::int64_t>(addresses.size() - i);
    if (left <= Milliseconds{0}) break;
    // Pieces of an answer may come as late as the watch lets the whole.
    auto context = std::make_unique<CModbusContext>(modbus_new_tcp_pi(addresses[i].c_str(), port.c_str()),
                                                    kResponseTimeout);
    result = context->Connect(left);
    if (!result) continue;
    mContext = std::move(context);
    mGoodAddress = addresses[i];
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
  std::atomic<bool> isOver = false;
  // The socket stays open until nobody watches it any more.
  CCallHandle watching = mWatch->AddCall(
      [&isOver, socket = modbus_get_socket(mContext->Get())] {
        isOver = true;
        ::shutdown(socket, SHUT_RDWR);
      },
      kResponseTimeout);
  SModbusResult result = mContext->Read(table, unit, address, registers);
  watching.Cancel();
  if (isOver) result = ModbusError::NoAnswer();
  if (result.kind == SModbusResult::EKind::Lost) Disconnect();
  return result;
}
