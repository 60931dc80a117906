#include <array>
#include <atomic>
#include <chrono>
#include <cstdlib>
#include <filesystem>
#include <future>
#include <string>
#include <thread>
#include <utility>
#include <vector>

#include <arpa/inet.h>
#include <gmock/gmock.h>
#include <sys/socket.h>

#include "platform/modbus/modbusconnector.h"
#include "platform/modbus/modbustcpclient.h"
#include "platform/worker/realscheduler.h"
#include "simulation/modbusrtuserver.h"

namespace {

using std::chrono::milliseconds;
using testing::ElementsAre;
using testing::HasSubstr;

constexpr auto kOk = SModbusResult::EKind::Ok;
constexpr auto kRefused = SModbusResult::EKind::Refused;
constexpr auto kLost = SModbusResult::EKind::Lost;
constexpr auto kInput = EModbusTable::Input;

std::string Unhex(std::string_view text) {
  std::string bytes;
  for (std::size_t i = 0; i + 1 < text.size(); i += 2)
    bytes.push_back(static_cast<char>(std::stoi(std::string(text.substr(i, 2)), nullptr, 16)));
  return bytes;
}

/// A listening socket on the loopback interface and its free port.
struct SListener {
  explicit SListener(int backlog, int port = 0) {
    const int on = 1;
    ::setsockopt(socket.Get(), SOL_SOCKET, SO_REUSEADDR, &on, sizeof on);
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_port = htons(static_cast<std::uint16_t>(port));
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    socklen_t size = sizeof address;
    auto* generic = reinterpret_cast<sockaddr*>(&address);
    if (::bind(socket.Get(), generic, size) != 0 || ::listen(socket.Get(), backlog) != 0 ||
        ::getsockname(socket.Get(), generic, &size) != 0)
      std::abort();
    server.port = ntohs(address.sin_port);
  }
  CFileDescriptor socket{::socket(AF_INET, SOCK_STREAM, 0)};
  SModbusTcpServer server{"127.0.0.1", 0};
};

class CStopwatch {
 public:
  std::int64_t Milliseconds() const {
    return std::chrono::duration_cast<milliseconds>(std::chrono::steady_clock::now() - mBegin).count();
  }

 private:
  const std::chrono::steady_clock::time_point mBegin = std::chrono::steady_clock::now();
};

struct SOutcome {
  const char* answer;  // after the request's transaction number; empty: none
  SModbusResult::EKind kind;
  const char* reason;
  milliseconds pause{0};  // before each byte
};

/// Answers two requests, unless the client goes before, and hangs up.
void AnswerTwice(const SListener& listener, const SOutcome& outcome) {
  const CFileDescriptor peer(::accept(listener.socket.Get(), nullptr, nullptr));
  std::array<char, 12> request{};
  for (int i = 0; i < 2 && ::recv(peer.Get(), request.data(), request.size(), MSG_WAITALL) > 0; ++i) {
    EXPECT_EQ(std::string(request.begin() + 2, request.end()), Unhex("00000006010400060002"));
    if (*outcome.answer == '\0') continue;
    for (const char byte : std::string(request.begin(), request.begin() + 2) + Unhex(outcome.answer)) {
      std::this_thread::sleep_for(outcome.pause);
      if (::send(peer.Get(), &byte, 1, MSG_NOSIGNAL) != 1) return;
    }
  }
}

TEST(ModbusTcpTest, EachAnswerHasItsOutcome) {
  const SListener listener(5);
  CRealScheduler scheduler;
  CModbusConnector connector(scheduler);
  for (const SOutcome& each :
       {SOutcome{"0000000701040440c051ec", kOk, ""},
        {"00000003018402", kRefused, "Illegal data address"},
        {"0000000301840b", kRefused, "Target device failed to respond"},
        {"00000003018455", kRefused, "exception"},
        {"0000000501040240c0", kLost, "reading: Invalid data"},
        {"0000000901040640c051ec40c0", kLost, "reading: "},
        {"0000000701030440c051ec", kLost, "reading: "},
        {"", kLost, "no whole answer within 1000 ms"},
        // libmodbus waits a second for each byte, so alone it would take this one in 3300 ms.
        {"0000000701040440c051ec", kLost, "no whole answer within 1000 ms", milliseconds{300}}}) {
    SCOPED_TRACE(each.answer);
    const auto client = connector.CreateTcpClient(listener.server);
    ASSERT_TRUE(client->Connect());
    std::thread server([&] { AnswerTwice(listener, each); });
    std::array<std::uint16_t, 2> registers{};
    const CStopwatch stopwatch;
    for (int i = 0; i < (each.kind == kLost ? 1 : 2); ++i) {
      const SModbusResult result = client->Read(kInput, 1, 6, registers);
      EXPECT_EQ(result.kind, each.kind) << result.reason;
      EXPECT_THAT(result.reason, HasSubstr(each.reason));
    }
    EXPECT_LT(stopwatch.Milliseconds(), 1300);
    EXPECT_TRUE(each.kind != kOk || (registers[0] == 0x40c0 && registers[1] == 0x51ec));
    // A server that hangs up kills nobody.
    EXPECT_EQ(client->Read(kInput, 1, 6, registers).kind, kLost);
    EXPECT_THAT(client->Read(kInput, 1, 6, registers).reason, HasSubstr("not connected"));
    server.join();
  }
}

TEST(ModbusTcpTest, ServersAreFoundByNameOrGivenUpInTime) {
  CRealScheduler scheduler;
  CModbusConnector connector(scheduler);
  const SListener listener(0);
  const auto first = connector.CreateTcpClient({"localhost", listener.server.port});
  EXPECT_TRUE(first->Connect());
  EXPECT_TRUE(first->Connect()) << "it is connected";
  // Nobody accepts: from some client on nothing answers.
  std::vector<std::unique_ptr<IModbusClient>> queue;
  SModbusResult result;
  std::int64_t took = 0;
  while (result && queue.size() < 10) {
    queue.push_back(connector.CreateTcpClient(listener.server));
    const CStopwatch stopwatch;
    result = queue.back()->Connect();
    took = stopwatch.Milliseconds();
  }
  EXPECT_EQ(result.reason, "connecting: Connection timed out");
  EXPECT_THAT(took, testing::AllOf(testing::Ge(950), testing::Lt(1300)));
  for (const auto& [host, reason] : {std::pair{"127.0.0.1", "connecting: Connection refused"},
                                     {"::1", "connecting: "},
                                     {"no such host", "looking \"no such host\" up: "}}) {
    result = connector.CreateTcpClient({host, 1})->Connect();
    EXPECT_EQ(result.kind, kLost);
    EXPECT_THAT(result.reason, HasSubstr(reason));
  }
}

TEST(ModbusTcpTest, NameServersThatHangHoldUpNobody) {
  CRealScheduler scheduler;
  const auto watch = std::make_shared<CWorker>(scheduler, "watch");
  const auto serversAnswer = std::make_shared<std::promise<void>>();
  const auto asked = std::make_shared<std::atomic<int>>(0);
  const HostResolver resolve = [serversAnswer, asked,
                                answered = serversAnswer->get_future().share()](const std::string& host) {
    EXPECT_EQ(host, "meter");
    ++*asked;
    answered.wait();
    return *asked < 3 ? SHostAddresses{{"127.0.0.1"}, {}} : SHostAddresses{{}, "no such meter"};
  };
  auto listener = std::make_unique<SListener>(5);
  CModbusTcpClient client({"meter", listener->server.port}, watch, resolve);
  for (int i = 0; i < 2; ++i) {
    const CStopwatch stopwatch;
    EXPECT_EQ(client.Connect().reason, "looking \"meter\" up: no answer within 1000 ms");
    EXPECT_LT(stopwatch.Milliseconds(), 1300);
  }
  CModbusTcpClient({"meter", 1}, watch, resolve).Connect();  // and goes before it has an answer
  serversAnswer->set_value();
  EXPECT_TRUE(client.Connect());
  EXPECT_EQ(*asked, 2) << "one look-up of each client";
  client.Disconnect();
  EXPECT_TRUE(client.Connect());
  EXPECT_EQ(*asked, 2) << "the address is known";
  client.Disconnect();
  const int port = std::exchange(listener, nullptr)->server.port;
  EXPECT_EQ(client.Connect().reason, "connecting: Connection refused");
  EXPECT_EQ(*asked, 2);
  EXPECT_EQ(client.Connect().reason, "connecting: Connection refused") << "the known address is still good";
  EXPECT_EQ(*asked, 3);
  listener = std::make_unique<SListener>(5, port);
  EXPECT_TRUE(client.Connect());
}

TEST(ModbusRtuTest, ClientsOfOneDeviceTakeTurnsAndItMayGoAndComeBack) {
  CRealScheduler scheduler;
  CChargePoint chargePoint(scheduler);
  CHouse house(scheduler, chargePoint);
  CHouseMeter meter(scheduler, house);
  CModbusUnit unit(meter, *FindModbusMeterModel("eastron_sdm630"));
  CModbusRtuServer server(
      unit, std::filesystem::temp_directory_path() / ("modbus_test" + std::to_string(::getpid())));
  ASSERT_TRUE(server.Start());
  house.SetLoads({6000, 0, 0});
  const SModbusRtuLine line{.device = server.Path().string(), .autoDirection = true};
  CModbusConnector connector(scheduler);
  std::array<std::uint16_t, 2> registers{};
  const auto client = connector.CreateRtuClient(line);
  const auto askOften = [](IModbusClient& asking, std::span<std::uint16_t> into) {
    for (int i = 0; i < 20; ++i) EXPECT_TRUE(asking.Connect() && asking.Read(kInput, 1, 6, into));
  };
  const CStopwatch stopwatch;
  std::thread other([&] {
    std::array<std::uint16_t, 2> theirs{};
    askOften(*connector.CreateRtuClient(line), theirs);
  });
  askOften(*client, registers);
  other.join();
  EXPECT_THAT(registers, ElementsAre(0x40c0, 0x0000));
  EXPECT_GE(stopwatch.Milliseconds(), 39 * 4) << "four silent ones between two requests at 9600 baud";
  EXPECT_EQ(client->Read(kInput, 1, 1, registers).kind, kOk);
  EXPECT_EQ(client->Read(kInput, 1, 18, registers).kind, kRefused);

  SModbusRtuLine faster = line;
  faster.baud = 19200;
  faster.parity = SModbusRtuLine::EParity::Even;
  const auto different = connector.CreateRtuClient(faster);
  EXPECT_EQ(different->Connect().reason,
            line.device +
                " is in use already with 9600 baud, parity N, 1 stop bit, switching direction by "
                "itself, and not with 19200 baud, parity E, 1 stop bit, switching direction by itself");

  meter.SetFate(CHouseMeter::EFate::Away);
  while (std::filesystem::exists(line.device)) std::this_thread::sleep_for(milliseconds(1));
  EXPECT_EQ(client->Read(kInput, 1, 6, registers).kind, kLost);
  EXPECT_THAT(client->Connect().reason, HasSubstr("No such file or directory"));
  meter.SetFate(CHouseMeter::EFate::Good);
  while (!std::filesystem::exists(line.device)) std::this_thread::sleep_for(milliseconds(1));
  EXPECT_TRUE(different->Connect()) << "nobody else uses it any more";
  different->Disconnect();
  askOften(*client, registers);
  client->Disconnect();
  faster.autoDirection = false;
  EXPECT_THAT(connector.CreateRtuClient(faster)->Connect().reason,
              HasSubstr("switching " + line.device + " to RS485: "));
}

}  // namespace
