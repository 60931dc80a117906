#include <sstream>

#include <gmock/gmock.h>

#include "simulation/groupday.h"
#include "simulation/memoryfiles.h"
#include "simulation/strictjson.h"
#include "tools/currentcontrolsim/dayscenario.h"
#include "tools/currentcontrolsim/groupcsv.h"
#include "tools/currentcontrolsim/grouphtml.h"
#include "tools/currentcontrolsim/groupsummary.h"
#include "tools/currentcontrolsim/grouptroubles.h"
#include "tools/currentcontrolsim/manydays.h"
#include "tools/currentcontrolsim/reportcsv.h"
#include "tools/currentcontrolsim/reporthtml.h"
#include "tools/currentcontrolsim/reportsummary.h"
#include "tools/currentcontrolsim/runrecorder.h"
#include "tools/currentcontrolsim/simoptions.h"
#include "tools/currentcontrolsim/simulate.h"
#include "tools/currentcontrolsim/simulategroup.h"
#include "tools/readwords.h"

namespace {

using testing::HasSubstr;
using testing::Not;
using testing::UnorderedElementsAre;

TEST(SimOptions, RefusesNonsenseAndSaysWhatToDo) {
  ExpectRefusals(
      ReadSimOptions,
      {{{"evening.json"}, "'evening.json' is no option; --help lists them"},
       {{"--scenario", "x", "--seed", "2"},
        "--scenario plays a file, --seed and --days play made-up days: give one of them"},
       {{"--hours", "3"}, "--hours is for a --scenario; a made-up day has 24"},
       {{"--days", "2", "--csv", "x"}, "--csv and --html show one run: give --seed without --days"},
       {{"--root", "x", "--settings", "y"}, "--root names all files: leave --hwinfo and --settings out"},
       {{"--group", "8", "--days", "2"},
        "--group plays one made-up day of a group: leave --scenario, --hours and --days out"},
       {{"--group", "8", "--set", "A=1"},
        "--group makes its stations up: leave --root, --hwinfo, --settings and --set out"},
       {{"--group", "33"}, "--group takes a whole number from 2 to 32, not '33'"},
       {{"--step", "0"}, "--step takes a whole number from 1 to 3600, not '0'"},
       {{"--set", "=5"}, "--set takes KEY=VALUE, such as SolarChargingEnable=true, not '=5'"}});
  const auto options = ReadWords(ReadSimOptions, {"--root", "/x", "-k", "A=true", "-k", "B=Max,\"x\":1", "-k",
                                                  "C=-1.5", "-k", "D=null"});
  EXPECT_EQ(options.settings, "/x/etc/settings.json");
  EXPECT_EQ(options.overrides["A"], Json::Value(true));
  EXPECT_EQ(options.overrides["B"], Json::Value("Max,\"x\":1"));
  EXPECT_EQ(options.overrides["C"], Json::Value(-1.5));
  EXPECT_TRUE(options.overrides.isMember("D") && options.overrides["D"].isNull());
}

/// Two moments, the latter between two steps of 10 s.
SSimulatedRun TinyRun() {
  SSimulatedRun run{.title = "A day", .about = "</script><b>clear</b>", .isDay = true, .hasRules = true};
  CRunRecorder recorder(run, Milliseconds{10000});
  SStationMoment moment{.at = Milliseconds{20000},
                        .load = {1000, 2000, 3000},
                        .generation = {5000, 0, 0},
                        .vehicle = {6000, 6000, 900},
                        .house = {2000, 8000, 3900},
                        .fuseMilliAmpere = 25000,
                        .fuseHeat = 0.125,
                        .surplusWatt = -230,
                        .setpointMilliAmpere = 6500,
                        .setpointPhases = 3,
                        .source = ipc::ECurrentControlBop,
                        .phaseSource = ipc::ECurrentControlSolarCharging,
                        .vehicleState = CVehicle::EState::Charging,
                        .cable = ipc::EPp20A};
  recorder.Take(moment);
  moment.at += Milliseconds{1000};
  moment.house[1] = -9000;
  recorder.Take(moment);
  run.violations = {{Milliseconds{21000}, "a rule", "1 instead of 2"}};
  run.totals.chargedWattHours = 1234;
  run.totals.solarWattHours = 200;
  return run;
}

template <class TRun>
std::string Csv(const TRun& run) {
  std::ostringstream out;
  WriteCsv(out, run);
  return out.str();
}
template <class TRun>
std::string Html(const TRun& run) {
  std::ostringstream out;
  WriteHtml(out, run);
  return out.str();
}

TEST(SimReport, HasARowForEveryStepAndAShortSummary) {
  EXPECT_THAT(
      Csv(TinyRun()),
      testing::EndsWith("\n20,1000,2000,3000,5000,0,0,6000,6000,900,2000,8000,3900,25000,12.5,0,-230,6500,"
                        "3,Dynamic load balancing,Solar charging,charging,20 A\n"));
  const std::string text = ReportSummary::ToText(TinyRun());
  EXPECT_THAT(text, HasSubstr("1.23 kWh  of which from the roof 0.20 kWh\n"));
  EXPECT_THAT(text, HasSubstr("-9.00 A  on L2 at 00:00:21; the fuse is for 25 A\n"));
  EXPECT_THAT(text, HasSubstr("  00:00:21 a rule: 1 instead of 2\n"));
}

TEST(SimReport, IsOnePageThatFetchesNothing) {
  const std::string page = Html(TinyRun());
  EXPECT_THAT(page, HasSubstr("var uPlot=function()"));
  EXPECT_THAT(page, HasSubstr("The MIT License (MIT)"));
  EXPECT_THAT(page, HasSubstr("\"house2\":[8000],\n"));
  EXPECT_THAT(page, HasSubstr("\"vehiclephases\":[2],\n"));
  EXPECT_THAT(page, HasSubstr(R"("sources":{"13":"Solar charging","4":"Dynamic load balancing"})"));
  EXPECT_THAT(page, HasSubstr("default-src 'none'"));
  for (const auto* fetching : {"src=", "href=", "url(", "@import", "fetch(", "<link", "</script><b>"})
    EXPECT_THAT(page, Not(HasSubstr(fetching)));
}

TEST(ManyDays, NamesTheCommandThatPlaysABadDayAgain) {
  std::ostringstream news;
  CManyDays days(2, news, false);
  days.Add(7, {});
  EXPECT_TRUE(days.IsGood());
  days.Add(8, TinyRun());
  EXPECT_FALSE(days.IsGood());
  EXPECT_EQ(news.str(),
            "day 8: 00:00:21 a rule: 1 instead of 2; again: currentcontrolsim --seed 8\n"
            "2 of 2 days, 1 with a broken rule\n");
}

TEST(Simulate, PlaysAScenarioAtAnInstallationAndTheSameBytesAgain) {
  CMemoryFiles files;
  files.Write("/x/etc/hwinfo.json", R"({"HwMaxCurrent": 20, "HwOneOrThreePhase": 3})");
  files.Write("/x/etc/settings.json", R"({"CurrentCtrlFixedChargeCurrentLimit": 16})");
  files.Write("/noon.json", R"({"description": "Noon", "repeat": "00:00:30", "events": [
      {"at": "00:00:01", "vehicle": {"connected": true, "reaction-ms": 0}}]})");
  auto options = ReadWords(ReadSimOptions, {"--scenario", "/noon.json", "--root", "/x", "--step", "15"});
  const auto run = Simulate::Scenario(files, options);
  EXPECT_EQ(run.title + ": " + run.about, "Scenario noon: Noon");
  ASSERT_EQ(run.moments.size(), 3U);  // at 0, 15 and 30 s
  EXPECT_EQ(run.moments[2].setpointMilliAmpere, 16000U);
  EXPECT_EQ(run.moments[2].vehicle, (CVehicle::Currents{16000, 16000, 16000}));
  EXPECT_TRUE(run.IsGood());
  EXPECT_EQ(Html(Simulate::Scenario(files, options)), Html(run));

  options.overrides["CurrentCtrlFixedChargeCurrentLimit"] = 10;
  EXPECT_EQ(Simulate::Scenario(files, options).moments[2].setpointMilliAmpere, 10000U);
  options.settings = "/none.json";
  EXPECT_THAT([&] { Simulate::Scenario(files, options); },
              testing::ThrowsMessage<CFileError>(HasSubstr("/none.json: ")));
}

TEST(DayScenario, IsTheDayAtAnotherStation) {
  SDayPlan plan;
  plan.visits = {{.from = Milliseconds{5000}, .until = Milliseconds{9000}, .cable = ipc::EPp13A}};
  plan.changes = {{Milliseconds{6000}, {}}};
  plan.changes[0].settings.isSolarEnabled = false;
  plan.changes[0].settings.userAmpere = 11;
  Json::Value kept(Json::objectValue);
  kept["SolarChargingEnable"] = true;
  const SScenario day = ToScenario(plan,
                                   {.hwinfo = R"({"HwHasSocket": true})",
                                    .settings = R"({"CurrentCtrlBopFuseRating": 35})",
                                    .secrets = ""},
                                   kept);
  // Behind the house and the roof a cable is pulled; the visit begins with its vehicle.
  const auto& changed = std::get<SScenario::SSettings>(day.events.at(5).action).values;
  EXPECT_EQ(std::get<SScenario::SHouseChange>(day.events.at(0).action).fuseAmpere, 35U);
  EXPECT_EQ(std::get<SScenario::SCable>(day.events.at(4).action).plugged, ipc::EPp13A);
  EXPECT_EQ(changed["UserDefinedChargeLimitCurrent"], Json::Value(11));
  EXPECT_FALSE(changed.isMember("SolarChargingEnable"));
}

/// Three stations at 14 A, then 11 A, where 2 and 3 have vehicles; then 3 is cut off, and 2 restarts.
SGroupPlan ShortGroup() {
  using namespace GroupEvents;
  const auto at = [](std::int64_t seconds) { return Milliseconds{1000 * seconds}; };
  SGroupPlan plan{.groupSize = 3, .capacityAmpere = 14, .fuseAmpere = 63, .length = at(600)};
  plan.stations = {{.serialNumber = "12-34-ABC-001"},
                   {.serialNumber = "12-34-ABC-002"},
                   {.serialNumber = "12-34-ABC-003"}};
  plan.events = {{at(0), SHouse{{-3000, 15000, 2000}}},
                 {at(0), SPower{.station = 1}},
                 {at(0), SPower{.station = 2}},
                 {at(0), SPower{.station = 3}},
                 {at(30), SPlug{.station = 2}},
                 {at(30), SPlug{.station = 3}},
                 {at(200), SCapacity{.ampere = 11}},
                 {at(300), SSplit{{{1, 2}, {3}}}},
                 {at(330), SSplit{}},
                 {at(420), SPower{.station = 2, .isOn = false}},
                 {at(450), SPower{.station = 2}}};
  return plan;
}

TEST(SimulateGroup, ShowsWhoChargesWhoWaitsAndWhatFails) {
  using enum SSimulatedGroup::EState;
  const auto group = Simulate::Group(ShortGroup(), Milliseconds{10000});
  EXPECT_TRUE(group.IsGood()) << GroupSummary::ToText(group);
  ASSERT_EQ(group.points.size(), 60U);
  const auto stateAt = [&](std::size_t seconds, std::size_t station) {
    return group.points[seconds / 10 - 1].stations[station - 1].state;
  };
  EXPECT_EQ(stateAt(10, 1), Settling);
  EXPECT_EQ(stateAt(190, 1), Idle);
  EXPECT_EQ(stateAt(190, 2), Charges);
  EXPECT_EQ(stateAt(190, 3), Charges);
  EXPECT_THAT((std::array{stateAt(290, 2), stateAt(290, 3)}), UnorderedElementsAre(Charges, Waits));
  EXPECT_EQ(stateAt(320, 3), Alone);
  EXPECT_EQ(stateAt(440, 2), NoPower);
  EXPECT_EQ(group.points[43].stations[1].drawn, 0U);
  EXPECT_EQ(group.points[28].capacity, (LbPhaseCurrents{11000, 11000, 11000}));
  EXPECT_LE(group.mostDrawn.milliAmpere, 14000U);
  EXPECT_GE(std::max(group.stations[1].longestWait, group.stations[2].longestWait), Milliseconds{90000});
  ASSERT_EQ(group.troubles.size(), 3U);
  EXPECT_EQ(group.troubles[0].what, "the group may have 11 A");
  EXPECT_EQ(group.troubles[1].stations, std::vector<MediumStation>{3});
  EXPECT_EQ(group.troubles[2].until, Milliseconds{450000});

  const std::string page = Html(group);
  EXPECT_THAT(page, HasSubstr(R"("serial_number":"12-34-ABC-003")"));
  EXPECT_THAT(page, HasSubstr(R"("what":"cut off from the leader")"));
  EXPECT_THAT(Csv(group), HasSubstr("\n290,11000,11000,11000,"));
  EXPECT_THAT(GroupSummary::ToText(group), HasSubstr("  00:05:00 to 00:05:30 3: cut off from the leader\n"));
}

TEST(GroupDay, IsTheSameAgainAndStaysWithinTheDay) {
  for (const std::uint32_t stations : {2U, 8U, 32U}) {
    const SGroupPlan day = GroupDay::Make(7, stations);
    const SGroupPlan again = GroupDay::Make(7, stations);
    EXPECT_EQ(day.stations.size(), stations);
    ASSERT_EQ(day.events.size(), again.events.size());
    for (std::size_t i = 0; i < day.events.size(); ++i) {
      EXPECT_EQ(GroupEvents::ToText(day.events[i].what), GroupEvents::ToText(again.events[i].what));
      EXPECT_LE(day.events[i].at, Milliseconds{24 * 3600 * 1000});
    }
    EXPECT_FALSE(TroublesOf(day).empty());
  }
}

}  // namespace
