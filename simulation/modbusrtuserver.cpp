#include "simulation/modbusrtuserver.h"

#include <cerrno>
#include <system_error>
#include <utility>

#include <modbus/modbus.h>
#include <poll.h>

#include "platform/log/log.h"
#include "simulation/modbusanswering.h"

namespace {

constexpr int kTurnMilliseconds = 20;  // to see whether the meter has gone or the end has come
/// For the rest of a request that has begun.
constexpr std::uint32_t kPatienceMicroseconds = 50'000;

}  // namespace

CModbusRtuServer::CModbusRtuServer(CModbusUnit& unit, std::filesystem::path link)
    : mUnit(unit),
      mLink(std::move(link)),
      // For framing alone: the line is ours, and a pseudo-terminal has no speed.
      mContext(modbus_new_rtu("line", 9600, 'N', 8, 1), modbus_free) {
  if (!mContext) throw std::system_error(errno, std::generic_category(), "modbus_new_rtu");
  modbus_set_slave(mContext.get(), unit.Model().unit);
  modbus_set_indication_timeout(mContext.get(), 0, kPatienceMicroseconds);
  modbus_set_byte_timeout(mContext.get(), 0, kPatienceMicroseconds);
}

CModbusRtuServer::~CModbusRtuServer() {
  Stop();
}

bool CModbusRtuServer::Start() {
  if (mThread.joinable()) return true;
  if (!Open()) return false;
  mEnds = false;
  mThread = std::thread([this] { Run(); });
  return true;
}

void CModbusRtuServer::Stop() {
  if (!mThread.joinable()) return;
  mEnds = true;
  mThread.join();
  mLine.Close();
}

bool CModbusRtuServer::Open() {
  std::string failure = mLine.Open(mLink);
  if (!failure.empty() && failure != mFailure)
    LOG_ERROR("There is no meter at \"{}\": {}", mLink.string(), failure);
  mFailure = std::move(failure);
  modbus_set_socket(mContext.get(), mLine.FarEnd());
  return mFailure.empty();
}

void CModbusRtuServer::Run() {
  while (!mEnds) {
    if (mUnit.IsAway()) mLine.Close();
    if (!mUnit.IsAway() && !mLine.IsOpen()) Open();
    pollfd waited{mLine.FarEnd(), POLLIN, 0};
    if (::poll(&waited, 1, kTurnMilliseconds) > 0 && waited.revents != 0)
      AnswerModbusRequest(mContext.get(), mUnit);
  }
}
