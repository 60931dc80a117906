#include "platform/modbus/modbusrtuline.h"

#include <cerrno>
#include <chrono>
#include <thread>
#include <utility>

#include <fmt/format.h>
#include <modbus/modbus.h>

#include "platform/utility/rs485mode.h"

namespace {

using std::chrono::microseconds;

constexpr int kDataBits = 8;

/// Three and a half characters, which have eleven bits each; a fixed time on fast lines.
microseconds SilentGap(std::uint32_t baud) {
  constexpr std::uint32_t kFastest = 19200;
  constexpr microseconds kGapOfFastLines{1750};
  constexpr std::int64_t kMicrosecondBits = 38'500'000;
  return baud > kFastest ? kGapOfFastLines : microseconds{kMicrosecondBits / baud + 1};
}

std::string Described(const SModbusRtuLine& line) {
  return fmt::format("{} baud, parity {}, {} stop bit{}{}", line.baud, static_cast<char>(line.parity),
                     line.stopBits, line.stopBits == 1 ? "" : "s",
                     line.autoDirection ? ", switching direction by itself" : "");
}

}  // namespace

SModbusResult CModbusRtuLine::Join(const SModbusRtuLine& settings) {
  CMutexLock lock(mMutex);
  if (mUsers > 0 && settings != mSettings) {
    return {SModbusResult::EKind::Lost,
            fmt::format("{} is in use already with {}, and not with {}", settings.device,
                        Described(mSettings), Described(settings))};
  }
  mSettings = settings;
  SModbusResult result = Open();
  if (result) ++mUsers;
  return result;
}

void CModbusRtuLine::Leave() {
  CMutexLock lock(mMutex);
  if (--mUsers == 0) mContext.reset();
}

SModbusResult CModbusRtuLine::Read(EModbusTable table, std::uint8_t unit, std::uint16_t address,
                                   std::span<std::uint16_t> registers) {
  CMutexLock lock(mMutex);
  if (SModbusResult opened = Open(); !opened) return opened;
  WaitForSilence();
  modbus_flush(mContext->Get());  // answers that came too late
  SModbusResult result = mContext->Read(table, unit, address, registers);
  mLastHeard = std::chrono::steady_clock::now();
  // Another user's next request opens the device again; it may be another one by then.
  if (result.kind == SModbusResult::EKind::Lost) mContext.reset();
  return result;
}

SModbusResult CModbusRtuLine::Open() {
  if (mContext) return {};
  auto context = std::make_unique<CModbusContext>(
      modbus_new_rtu(mSettings.device.c_str(), static_cast<int>(mSettings.baud),
                     static_cast<char>(mSettings.parity), kDataBits, mSettings.stopBits));
  SModbusResult result = context->Connect(IModbusClient::kConnectTimeout);
  if (!result) return result;
  if (!mSettings.autoDirection && !SwitchToRs485(modbus_get_socket(context->Get())))
    return ModbusError::Lost(fmt::format("switching {} to RS485", mSettings.device), errno);
  mContext = std::move(context);
  return {};
}

void CModbusRtuLine::WaitForSilence() const {
  std::this_thread::sleep_until(mLastHeard + SilentGap(mSettings.baud));
}
