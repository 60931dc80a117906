#include <array>
#include <cstdlib>
#include <filesystem>
#include <optional>
#include <string>

#include <arpa/inet.h>
#include <fcntl.h>
#include <gmock/gmock.h>
#include <netinet/in.h>
#include <sys/socket.h>

#include "platform/modbus/modbusconnector.h"
#include "platform/modbus/scriptedunit.h"
#include "platform/utility/filedescriptor.h"
#include "platform/utility/mutex.h"

namespace {

using std::chrono::milliseconds;
using std::chrono::steady_clock;
using testing::ElementsAre;
using testing::HasSubstr;

constexpr auto kOk = SModbusResult::EKind::Ok;
constexpr auto kRefused = SModbusResult::EKind::Refused;
constexpr auto kLost = SModbusResult::EKind::Lost;

// 6.01 A and 2.35 A as floats, of unit 1 from input register 6 on; frames worked out by another program.
const Bytes kRtuRequest{0x01, 0x04, 0x00, 0x06, 0x00, 0x02, 0x91, 0xca};
const Bytes kRtuAnswer{0x01, 0x04, 0x04, 0x40, 0xc0, 0x51, 0xec, 0xd2, 0x65};

Bytes Unhex(std::string_view text) {
  Bytes bytes;
  for (std::size_t i = 0; i + 1 < text.size(); i += 2)
    bytes.push_back(static_cast<std::uint8_t>(std::stoul(std::string(text.substr(i, 2)), nullptr, 16)));
  return bytes;
}

/// A listening socket on the loopback interface and its free port.
struct SListener {
  explicit SListener(int backlog) {
    sockaddr_in address{};
    address.sin_family = AF_INET;
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

milliseconds Since(steady_clock::time_point begin) {
  return std::chrono::duration_cast<milliseconds>(steady_clock::now() - begin);
}

TEST(ModbusTcpTest, EachAnswerHasItsOutcome) {
  struct SCase {
    const char* answer;  // after the request's transaction number; empty: the server hangs up
    milliseconds pause;
    SModbusResult::EKind kind;
    const char* reason;
  };
  const SCase cases[] = {
      {"0000000701040440c051ec", milliseconds{0}, kOk, ""},
      {"000000030184"
       "02",
       milliseconds{0}, kRefused, "Illegal data address"},
      {"000000030184"
       "0b",
       milliseconds{0}, kRefused, "Target device failed to respond"},
      {"000000030184"
       "55",
       milliseconds{0}, kRefused, "exception"},
      {"00000005010402"
       "40c0",
       milliseconds{0}, kLost, "reading: Invalid data"},
      {"00000009010406"
       "40c051ec40c0",
       milliseconds{0}, kLost, "reading: "},
      {"0000000701030440c051ec", milliseconds{0}, kLost, "reading: "},
      {"", milliseconds{0}, kLost, "no whole answer within 1000 ms"},
      {"0000000701040440c051ec", milliseconds{150}, kLost, "no whole answer within 1000 ms"},
  };
  SListener listener(5);
  CModbusConnector connector;
  for (const SCase& each : cases) {
    SCOPED_TRACE(each.answer);
    const auto client = connector.CreateTcpClient(listener.server);
    ASSERT_TRUE(client->Connect());
    std::optional<CScriptedUnit> unit(
        std::in_place, ::accept(listener.socket.Get(), nullptr, nullptr), 12,
        [&](const Bytes& request) {
          EXPECT_EQ(Bytes(request.begin() + 2, request.end()), Unhex("00000006010400060002"));
          Bytes answer = Unhex(each.answer);
          if (!answer.empty()) answer.insert(answer.begin(), request.begin(), request.begin() + 2);
          return answer;
        },
        each.pause);
    std::array<std::uint16_t, 2> registers{};
    const auto begin = steady_clock::now();
    const SModbusResult result = client->Read(EModbusTable::Input, 1, 6, registers);
    EXPECT_LT(Since(begin), milliseconds(1300));
    EXPECT_EQ(result.kind, each.kind) << result.reason;
    EXPECT_THAT(result.reason, HasSubstr(each.reason));
    if (each.kind == kOk) {
      EXPECT_THAT(registers, ElementsAre(0x40c0, 0x51ec));
    }
    if (each.kind != kLost) {
      // The connection is good until the server hangs up, and that kills nobody.
      EXPECT_EQ(client->Read(EModbusTable::Input, 1, 6, registers).kind, each.kind);
      unit.reset();
      EXPECT_EQ(client->Read(EModbusTable::Input, 1, 6, registers).kind, kLost);
    }
    EXPECT_THAT(client->Read(EModbusTable::Input, 1, 6, registers).reason, HasSubstr("not connected"));
  }
}

TEST(ModbusTcpTest, ServersAreFoundByNameOrGivenUpInTime) {
  CModbusConnector connector;
  const SListener listener(0);
  const SModbusTcpServer byName{"localhost", listener.server.port};
  const auto first = connector.CreateTcpClient(byName);
  EXPECT_TRUE(first->Connect());
  EXPECT_TRUE(first->Connect()) << "it is connected";
  std::vector<std::unique_ptr<IModbusClient>> queue;
  const auto begin = steady_clock::now();
  while (queue.empty() || queue.back()) {
    // Nobody accepts: from some client on nothing answers.
    queue.push_back(connector.CreateTcpClient(listener.server));
    const auto beforeThis = steady_clock::now();
    const SModbusResult result = queue.back()->Connect();
    if (result && Since(begin) < milliseconds(5000)) continue;
    EXPECT_EQ(result.reason, "connecting: Connection timed out");
    EXPECT_THAT(Since(beforeThis).count(), testing::AllOf(testing::Ge(950), testing::Lt(1300)));
    break;
  }
  const SModbusTcpServer nobody[] = {{"127.0.0.1", 1}, {"::1", 1}, {"no such host", 502}};
  const char* reasons[] = {"connecting: Connection refused", "connecting: ", "looking \"no such host\" up: "};
  for (std::size_t i = 0; i < std::size(nobody); ++i) {
    const SModbusResult result = connector.CreateTcpClient(nobody[i])->Connect();
    EXPECT_EQ(result.kind, kLost);
    EXPECT_THAT(result.reason, HasSubstr(reasons[i]));
  }
}

/// The far end of a pseudo-terminal, whose near end is reached by a name that stays the same.
class CSerialDevice {
 public:
  CSerialDevice() { PlugIn(); }
  ~CSerialDevice() {
    Unplug();
    std::filesystem::remove(mPath);
  }
  void PlugIn() {
    mMaster = ::posix_openpt(O_RDWR | O_NOCTTY);
    if (mMaster < 0 || ::grantpt(mMaster) != 0 || ::unlockpt(mMaster) != 0) std::abort();
    std::filesystem::remove(mPath);
    std::filesystem::create_symlink(::ptsname(mMaster), mPath);
    mUnit.emplace(mMaster, kRtuRequest.size(), [this](const Bytes& request) { return Answer(request); });
  }
  void Unplug() {
    mUnit.reset();
    std::filesystem::remove(mPath);
  }
  SModbusRtuLine Line() const { return {.device = mPath.string(), .autoDirection = true}; }

  void AnswerWith(Bytes answer) {
    CMutexLock lock(mMutex);
    mAnswer = std::move(answer);
  }

 private:
  Bytes Answer(const Bytes& request) {
    CMutexLock lock(mMutex);
    EXPECT_EQ(request, kRtuRequest) << "one at a time";
    return mAnswer;
  }

  const std::filesystem::path mPath =
      std::filesystem::temp_directory_path() / ("modbus_test" + std::to_string(::getpid()));
  int mMaster = -1;
  CMutex mMutex;
  Bytes mAnswer GUARDED_BY(mMutex) = kRtuAnswer;
  std::optional<CScriptedUnit> mUnit;
};

TEST(ModbusRtuTest, ClientsOfOneDeviceTakeTurns) {
  CSerialDevice device;
  CModbusConnector connector;
  const auto askOften = [&] {
    const auto client = connector.CreateRtuClient(device.Line());
    EXPECT_TRUE(client->Connect());
    for (int i = 0; i < 20; ++i) {
      std::array<std::uint16_t, 2> registers{};
      const SModbusResult result = client->Read(EModbusTable::Input, 1, 6, registers);
      EXPECT_TRUE(result) << result.reason;
      EXPECT_THAT(registers, ElementsAre(0x40c0, 0x51ec));
    }
  };
  const auto begin = steady_clock::now();
  std::thread other(askOften);
  askOften();
  other.join();
  EXPECT_GE(Since(begin), milliseconds(39 * 4))
      << "four silent milliseconds between two requests at 9600 baud";
}

TEST(ModbusRtuTest, SettingsThatDifferAndLinesThatCannotSwitchAreRefused) {
  const CSerialDevice device;
  CModbusConnector connector;
  const auto client = connector.CreateRtuClient(device.Line());
  SModbusRtuLine faster = device.Line();
  faster.baud = 19200;
  faster.parity = SModbusRtuLine::EParity::Even;
  const auto other = connector.CreateRtuClient(faster);
  ASSERT_TRUE(client->Connect());
  EXPECT_EQ(other->Connect().reason,
            faster.device +
                " is in use already with 9600 baud, parity N, 1 stop bit, switching direction by "
                "itself, and not with 19200 baud, parity E, 1 stop bit, switching direction by itself");
  client->Disconnect();
  EXPECT_TRUE(other->Connect()) << "nobody else uses it any more";
  other->Disconnect();
  faster.autoDirection = false;
  EXPECT_THAT(connector.CreateRtuClient(faster)->Connect().reason,
              HasSubstr("switching " + faster.device + " to RS485: "));
}

TEST(ModbusRtuTest, LinesComeBackAfterGarbageAndAfterTheDeviceWasAway) {
  CSerialDevice device;
  CModbusConnector connector;
  const auto client = connector.CreateRtuClient(device.Line());
  const auto neighbour = connector.CreateRtuClient(device.Line());
  std::array<std::uint16_t, 2> registers{};
  const auto read = [&](const std::unique_ptr<IModbusClient>& from) {
    const SModbusResult connected = from->Connect();
    return connected ? from->Read(EModbusTable::Input, 1, 6, registers) : connected;
  };
  ASSERT_TRUE(read(neighbour));
  Bytes wrongCrc = kRtuAnswer;
  wrongCrc.back() ^= 1;
  const Bytes otherUnit{0x02, 0x04, 0x04, 0x40, 0xc0, 0x51, 0xec, 0xe1, 0x65};
  for (const Bytes& garbage : {wrongCrc, otherUnit, Bytes(kRtuAnswer.begin(), kRtuAnswer.end() - 1)}) {
    device.AnswerWith(garbage);
    EXPECT_EQ(read(client).kind, kLost);
  }
  device.AnswerWith({0x01, 0x84, 0x02, 0xc2, 0xc1});
  EXPECT_EQ(read(client).kind, kRefused);
  device.AnswerWith(kRtuAnswer);
  EXPECT_TRUE(read(client));
  EXPECT_TRUE(read(neighbour));

  device.Unplug();
  EXPECT_EQ(read(client).kind, kLost);
  EXPECT_THAT(read(client).reason, HasSubstr("No such file or directory"));
  device.PlugIn();
  EXPECT_TRUE(read(neighbour)) << "who did not ask meanwhile noticed nothing";
  EXPECT_TRUE(read(client));
  EXPECT_THAT(registers, ElementsAre(0x40c0, 0x51ec));
}

}  // namespace
