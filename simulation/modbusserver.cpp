#include "simulation/modbusserver.h"

#include <cerrno>
#include <system_error>
#include <utility>

#include <arpa/inet.h>
#include <modbus/modbus.h>
#include <netinet/in.h>
#include <poll.h>
#include <sys/socket.h>

#include "platform/log/log.h"
#include "simulation/modbusanswering.h"

namespace {

constexpr int kMostClients = 4;
constexpr int kTurnMilliseconds = 20;  // to see whether the meter has gone or the end has come
/// For the rest of a request that has begun.
constexpr std::uint32_t kPatienceMicroseconds = 200'000;

}  // namespace

CModbusServer::CModbusServer(CModbusUnit& unit, std::string address, std::uint16_t port)
    : mUnit(unit),
      mAddress(std::move(address)),
      mPort(port),
      // For framing alone: the sockets are ours.
      mContext(modbus_new_tcp(nullptr, MODBUS_TCP_DEFAULT_PORT), modbus_free) {
  if (!mContext) throw std::system_error(errno, std::generic_category(), "modbus_new_tcp");
  modbus_set_indication_timeout(mContext.get(), 0, kPatienceMicroseconds);
}

CModbusServer::~CModbusServer() {
  Stop();
}

bool CModbusServer::Start() {
  if (mThread.joinable()) return true;
  if (!Listen()) {
    LOG_ERROR("Nobody can listen at {}:{}: {}", mAddress, mPort, std::generic_category().message(errno));
    return false;
  }
  mEnds = false;
  mThread = std::thread([this] { Run(); });
  return true;
}

void CModbusServer::Stop() {
  if (!mThread.joinable()) return;
  mEnds = true;
  mThread.join();
  Close();
}

bool CModbusServer::Listen() {
  sockaddr_in address{};
  address.sin_family = AF_INET;
  address.sin_port = htons(mPort);
  socklen_t size = sizeof address;
  auto* const generic = reinterpret_cast<sockaddr*>(&address);
  const int reuse = 1;
  CFileDescriptor listening(::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0));
  if (::inet_pton(AF_INET, mAddress.c_str(), &address.sin_addr) != 1) {
    errno = EINVAL;
    return false;
  }
  if (!listening.IsOpen() ||
      ::setsockopt(listening.Get(), SOL_SOCKET, SO_REUSEADDR, &reuse, sizeof reuse) != 0 ||
      ::bind(listening.Get(), generic, size) != 0 || ::listen(listening.Get(), kMostClients) != 0 ||
      ::getsockname(listening.Get(), generic, &size) != 0) {
    return false;
  }
  mPort = ntohs(address.sin_port);
  mListening = std::move(listening);
  return true;
}

void CModbusServer::Close() {
  mListening.Close();
  mClients.clear();
}

void CModbusServer::Run() {
  while (!mEnds) {
    if (mUnit.IsAway()) Close();
    if (!mUnit.IsAway() && !mListening.IsOpen()) Listen();
    ServeOnce();
  }
}

void CModbusServer::ServeOnce() {
  std::vector<pollfd> waited{{mListening.Get(), POLLIN, 0}};  // a closed one is not looked at
  for (const auto& client : mClients) waited.push_back({client.Get(), POLLIN, 0});
  if (::poll(waited.data(), waited.size(), kTurnMilliseconds) <= 0) return;
  for (std::size_t i = mClients.size(); i > 0; --i) {
    if (waited[i].revents == 0) continue;
    modbus_set_socket(mContext.get(), waited[i].fd);
    if (!AnswerModbusRequest(mContext.get(), mUnit))
      mClients.erase(mClients.begin() + static_cast<std::ptrdiff_t>(i - 1));
  }
  if (waited[0].revents == 0) return;
  CFileDescriptor client(::accept4(waited[0].fd, nullptr, nullptr, SOCK_CLOEXEC));
  if (client.IsOpen() && mClients.size() < kMostClients) mClients.push_back(std::move(client));
}
