#include <string>
#include <vector>

#include <fmt/format.h>
#include <gmock/gmock.h>

#include "ipc/meter.service.h"

#include "platform/log/logcapture.h"
#include "platform/utility/jsontext.h"
#include "simulation/virtualstation.h"

namespace {

using namespace std::chrono_literals;

TEST(ScenarioPlayer, PlugsCablesLetsTheSunShineAndChangesSettings) {
  const CLogCapture log;
  CVirtualStation station{{.hwinfo = R"({"HwMaxCurrent": 32, "HwOneOrThreePhase": 3})",
                           .settings = R"({"CurrentCtrlFixedChargeCurrentLimit": 25, "Kept": [1.5]})",
                           .secrets = ""}};
  CStation& peers = station.Peers();
  peers.StationMeter().SetMilliVolt(207000);
  ipc::CMeterClient client(station.Clients().CreateClient("Meter"));
  std::vector<std::string> told;
  const auto subscription = client.ValueNotifications({}, [&told](const ipc::MMeterData& values) {
    told.push_back(fmt::format("{} {}", values.current1(), values.voltage3()));
  });
  station.Start();
  station.Play(ReadScenario("s", R"({"events": [
    {"at": "00:00:00", "cable": "pull"},
    {"at": "00:00:00", "roof": {"weather": "clear", "peak-watt": 6900, "phases": 3, "begins-at": "12:59:01"}},
    {"at": "00:00:01", "cable": "20A"},
    {"at": "00:00:01", "vehicle": {"max-milliampere": 10000, "reaction-ms": 0, "excess-percent": 20,
                                   "ramp-milliampere-per-second": 100000}},
    {"at": "00:01:00", "settings": {"CurrentCtrlFixedChargeCurrentLimit": 8, "New": true, "Kept": null}},
    {"at": "00:01:00", "roof": "off"},
    {"at": "00:01:10", "station-meter": "vanish"},
    {"at": "00:02:00", "station-meter": "return"}]})"));
  station.RunFor(500ms);
  EXPECT_EQ(peers.ChargePoint().View().state, CVehicle::EState::Absent);
  EXPECT_EQ(peers.Adac().PpState(), ipc::EPpDisconnect);
  station.RunFor(59s + 499ms);
  EXPECT_EQ(peers.Adac().PpState(), ipc::EPp20A);
  EXPECT_EQ(station.House().View().net, (CHouse::NetCurrents{2000, 2000, 2000})) << "10 A come from the roof";
  station.RunFor(1s);
  EXPECT_EQ(station.House().View().net, (CHouse::NetCurrents{12000, 12000, 12000}));
  Json::Value settings;
  ASSERT_EQ(JsonText::ParseObject(*station.Files().Content(CVirtualStation::SettingsPath()), settings), "");
  EXPECT_EQ(JsonText::ToLine(settings), R"({"CurrentCtrlFixedChargeCurrentLimit":8,"New":true})");
  station.RunFor(10s);
  told.clear();
  station.RunFor(48s);
  EXPECT_THAT(told, testing::IsEmpty());
  station.RunFor(10s);
  EXPECT_THAT(told, testing::Each("12000 207000"));
  EXPECT_EQ(told.size(), 2U) << "what is no news, every five seconds";
  peers.BasicCharge().StopCharging({});
  EXPECT_TRUE(peers.ChargePoint().View().stopped);
  station.RunFor(1s);
  EXPECT_EQ(told.back(), "0 207000");
}

}  // namespace
