#include <sstream>

#include <gmock/gmock.h>

#include "platform/log/logcapture.h"
#include "platform/rpc/appcommunicationhost.h"
#include "platform/rpc/inprocessbackend.h"
#include "platform/worker/virtualscheduler.h"
#include "simulation/memoryfiles.h"
#include "tools/fakeservice.h"
#include "tools/readwords.h"
#include "tools/stationsim/stationoptions.h"
#include "tools/stationsim/stationsimulator.h"

namespace {

using namespace std::chrono_literals;
using testing::HasSubstr;

class StationSimTest : public testing::Test {
 protected:
  using CHost = Rpc::AppCommunicationHost<Rpc::InProcessBackend>;

  StationSimTest() { mOther.Start(); }

  CLogCapture mLog;
  CVirtualScheduler mScheduler;
  CMemoryFiles mFiles;
  const std::shared_ptr<Rpc::CInProcessNetwork> mNetwork =
      std::make_shared<Rpc::CInProcessNetwork>(mScheduler);
  const std::shared_ptr<CFakeService> mService = std::make_shared<CFakeService>();
  CHost mServiceHost{Rpc::InProcessBackend(mNetwork), mFiles, "/"};
  CHost mStationHost{Rpc::InProcessBackend(mNetwork), mFiles, "/"};
  CWorker mOther{mScheduler, "service"};
  const std::unique_ptr<IEvent> mEnd = mScheduler.CreateEvent();
  std::ostringstream mOut;
};

TEST_F(StationSimTest, BringsTheServiceUpPlaysTheScenarioAndLetsItEnd) {
  // The service comes two seconds late.
  const auto coming = mOther.AddCall([&] { CFakeService::Offer(mService, mServiceHost); }, 2s);
  ipc::CBasicCharge2Client chargeControl(mServiceHost.CreateClient("ChargeControlBasicCharge"));
  std::uint32_t answers = 0;
  const auto setpoint = mOther.AddCall(
      [&] {
        ipc::MChargeCurrent current;
        current.set_milliampere(16000);
        current.set_number_of_phases(3);
        answers = answers * 10 + chargeControl.SetChargeCurrent(current).value.code();
      },
      5s, 6s);
  ipc::CMeterClient meter(mServiceHost.CreateClient("Meter"));
  std::vector<std::int32_t> measured;
  const auto measuring = meter.ValueNotifications(
      {}, [&](const ipc::MMeterData& values) { measured.push_back(values.current3()); });

  // It ends a little after it was told to.
  const auto going = mOther.AddCall([&] { mServiceHost.Stop(); }, 13s + 250ms);

  CStationSimulator::SSettings settings;
  settings.scenario = ReadScenario("s.json", R"({"repeat": "00:00:04", "events": [
      {"at": "00:00:00", "vehicle": {"reaction-ms": 1000}},
      {"at": "00:00:01", "set-limit": {"source": 15, "milliampere": 7000}},
      {"at": "00:00:02", "clear-limit": {"source": 15}},
      {"at": "00:00:03.800", "charge-control": "refuse"},
      {"at": "00:00:03.900", "house": {"l1-milliampere": 8000}},
      {"at": "00:00:03.900", "metering-chip": "vanish"}]})");
  settings.fuseMilliAmpere = 20000;
  settings.runFor = 13s;
  settings.table = true;
  CStationSimulator(std::move(settings), mScheduler, mStationHost, mOut).Run(*mEnd);

  EXPECT_EQ(mService->requests, (std::vector<std::string>{"Initialize", "Enable", "Terminate"}));
  // Enabled at 2.1 s; the limit is set 1, 5 and 9 s after that, and cleared a second after it was set.
  ASSERT_EQ(mService->asked.size(), 6U);
  EXPECT_EQ(mService->asked[4].limit(), 7000);
  EXPECT_EQ(mService->asked[5].limit(), 0);
  EXPECT_EQ(answers, 1U);  // taken at 5 s, refused at 11 s
  EXPECT_THAT(mOut.str(), HasSubstr("setpoint arrived: 16000 mA on 3 phases\n"));
  EXPECT_THAT(mOut.str(), HasSubstr("setpoint refused: 16000 mA on 3 phases\n"));
  EXPECT_THAT(mOut.str(), HasSubstr("time       00:00:01\ncurrent control cannot be reached\n"
                                    "charge control  nothing has arrived yet\n"
                                    "vehicle    connected\n"
                                    "      household #   vehicle =   at the fuse of 20.000 A |\n"));
  EXPECT_THAT(
      mOut.str(),
      HasSubstr("  L1      8.000 A    16.000 A      24.000 A  ##########==============|=====       \n"
                "  L2      0.000 A    16.000 A      16.000 A  ===================     |            \n"));
  EXPECT_THAT(mOut.str(), HasSubstr("main fuse  holds, at 7 % of the heat that trips it; 7 % was the most\n"
                                    "metering chip  away\n"));
  EXPECT_THAT(measured, testing::IsSupersetOf({0, 8000, 12000, 16000}));
  EXPECT_THAT(mLog.Texts(Log::ELogLevel::Warning), testing::IsEmpty()) << "all of it was as expected";
}

TEST_F(StationSimTest, WarnsOfAServiceThatDoesNotComeAndOfOneThatIsLost) {
  const auto coming = mOther.AddCall([&] { CFakeService::Offer(mService, mServiceHost); }, 7s);
  const auto crashing = mOther.AddCall([&] { mServiceHost.Stop(); }, 10s);
  CStationSimulator({.scenario = {}, .runFor = 12s}, mScheduler, mStationHost, mOut).Run(*mEnd);
  EXPECT_THAT(mLog.Texts(Log::ELogLevel::Warning),
              testing::ElementsAre("Current control has not come within 5000 ms; waiting on",
                                   testing::StartsWith("Peer CurrentControlGenCtrl fails")));
}

TEST(StationOptions, RefusesWhatCannotBeMeant) {
  ReadWords(ReadStationOptions, {"--root", "/x", "--seconds", "10", "--table", "--fuse", "35", "--scenario",
                                 "a.json", "-m", "ct,modbustcp", "-p", "502"});
  ExpectRefusals(
      ReadStationOptions,
      {{{}, "--root PATH is needed"},
       {{"-r", "/x", "now"}, "'now' is no option"},
       {{"-r", "/x", "-m", "ct,"},
        "--meter takes some of ct,p1extender,homewizard,modbustcp,modbusrtu, not ''"},
       {{"-r", "/x", "-m", "modbustcp", "--model", "abb_b23"}, "'abb_b23' is no meter for modbustcp"},
       {{"-r", "/x", "-m", "p1extender,modbusrtu"}, "p1extender and modbusrtu are on the same serial line"},
       {{"-r", "/x", "-m", "ct", "-p", "80"}, "--meter-port needs one of homewizard and modbustcp"},
       {{"-r", "/x", "-f", "126"}, "--fuse takes a whole number from 1 to 125, not '126'"},
       {{"-r", "/x", "--seconds", "0"}, "--seconds takes a whole number from 1 to 1000000, not '0'"},
       {{"-r", "/x", "--seconds", "1.5"}, "--seconds takes a whole number from 1 to 1000000, not '1.5'"}});
}

}  // namespace
