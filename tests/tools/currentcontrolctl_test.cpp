#include <algorithm>

#include <gmock/gmock.h>

#include "platform/worker/worker.h"
#include "tools/ctltest.h"
#include "tools/currentcontrolctl/amperes.h"
#include "tools/currentcontrolctl/ctloptions.h"
#include "tools/fakeservice.h"
#include "tools/readwords.h"

namespace {

using namespace std::chrono_literals;
using testing::HasSubstr;

TEST(Amperes, TakesPlainNumbersOnlyAndRounds) {
  using Text = std::pair<std::string, std::optional<std::int32_t>>;
  const Text kTexts[] = {
      {"16", 16000}, {"12.5", 12500}, {"6.0004", 6000}, {"6.0005", 6001}, {"998.9999", 999000}, {"999.1", {}},
      {"", {}},      {"nan", {}},     {"1e9", {}},      {"-5", {}},       {"99999999999", {}},  {"16A", {}},
      {"16.", {}},   {".5", {}},      {"1.2.3", {}},    {" 16", {}},      {"0x10", {}}};
  for (const auto& [text, milliAmpere] : kTexts)
    EXPECT_EQ(ParseAmperes(text), milliAmpere) << "'" << text << "'";
}

class CtlTest : public CCtlTest {
 protected:
  CtlTest() {
    auto& limits = mService->limits;
    Fill(limits.add_limits(), ipc::ECurrentControlHardwareLimit, 32000, 3)->set_unchanged_for_ms(3661000);
    Fill(limits.add_limits(), ipc::ECurrentControlLocalRestApi, 10500, 3)->set_unchanged_for_ms(900);
    Fill(limits.add_limits(), ipc::ECurrentControlSystemBalancer, 16000, 1)->set_unchanged_for_ms(5000);
    limits.set_current_source(ipc::ECurrentControlLocalRestApi);
    limits.set_phase_source(ipc::ECurrentControlSystemBalancer);
    Fill(limits.mutable_setpoint(), ipc::ECurrentControlLocalRestApi, 10500, 1);
    Fill(limits.mutable_runner_up(), ipc::ECurrentControlSystemBalancer, 16000, 1);
  }

  template <class TLimit>
  static TLimit* Fill(TLimit* limit, ipc::ECurrentControlSource source, std::int32_t milliAmpere,
                      std::int32_t phases) {
    limit->set_source(source);
    limit->set_limit(milliAmpere);
    limit->set_number_of_phases(phases);
    return limit;
  }

  const std::shared_ptr<CFakeService> mService = std::make_shared<CFakeService>();
};

TEST_F(CtlTest, RefusesWrongUsageInOneLineBeforeItAsksAnyone) {
  const std::pair<std::vector<std::string>, std::string> kCases[] = {
      {{"gte"}, "'gte' is no command; --help lists them"},
      {{"set", "15"}, "usage: currentcontrolctl set SOURCE AMPERES [PHASES]"},
      {{"set", "sun", "6"}, "'sun' is no source: give its number, enumerator or display name"},
      {{"set", "15", "16A"}, "'16A' is no current: give amperes such as 16 or 12.5, at most 999"},
      {{"set", "15", "16", "2"}, "'2' is no number of phases: give 1 or 3"},
      {{"clear", ""}, "'' is no source: give its number, enumerator or display name"},
      {{"log-level", "6"}, "'6' is no level: give trace, debug, info, warning, error or critical"},
      {{"meter"}, "usage: currentcontrolctl meter TYPE [PARAMS], or meter --list"},
      {{"meter", "sun"}, "'sun' is no type of meter; meter --list lists them"},
      {{"meter", "ct", "[]"}, "the parameters are no JSON object: Line 1, Column 1: it is no JSON object"}};
  for (const auto& [words, error] : kCases) {
    const SOutcome outcome = Run(words);
    EXPECT_EQ(outcome.exit, 2);
    EXPECT_EQ(outcome.err + outcome.out, "currentcontrolctl: " + error + "\n");
  }
}

TEST_F(CtlTest, TellsWhenNobodyAnswersAndWhenTheServiceSaysNo) {
  for (const auto& words : {std::vector<std::string>{"get"},
                            {"limits"},
                            {"group"},
                            {"set", "15", "6"},
                            {"clear", "15"},
                            {"state"},
                            {"enable"},
                            {"log-level"}}) {
    const SOutcome outcome = Run(words);
    EXPECT_EQ(outcome.exit, 3) << words[0];
    EXPECT_THAT(outcome.err, testing::MatchesRegex(
                                 "currentcontrolctl: CurrentControl[A-Za-z]* cannot be reached: [^\n]+\n"));
  }
  CFakeService::Offer(mService, mHost);
  mService->code = 1;
  EXPECT_EQ(Run({"enable"}).exit, 1);
  const SOutcome outcome = Run({"set", "local REST api", "12.5"});
  EXPECT_EQ(outcome.exit, 1);
  EXPECT_EQ(outcome.err, "currentcontrolctl: CurrentControl says no to set (code 1)\n");
}

TEST_F(CtlTest, SendsWhatWasAsked) {
  CFakeService::Offer(mService, mHost);
  EXPECT_EQ(Run({"set", "local REST api", "12.5"}).out, "Local REST API limits to 12.500 A\n");
  EXPECT_EQ(Run({"set", "ecurrentcontrolbop", "6", "1"}).exit, 0);
  EXPECT_EQ(Run({"clear", "1000"}, true).out, "{\"code\":0}\n");
  ASSERT_EQ(mService->asked.size(), 3U);
  EXPECT_EQ(mService->asked[0].source(), 15);
  EXPECT_EQ(mService->asked[0].limit(), 12500);
  EXPECT_EQ(mService->asked[0].number_of_phases(), 0);
  EXPECT_EQ(mService->asked[1].source(), 4);
  EXPECT_EQ(mService->asked[1].number_of_phases(), 1);
  EXPECT_EQ(mService->asked[2].source(), 1000);

  mService->logConfig.set_console_logging(true);
  EXPECT_EQ(Run({"log-level", "warning"}).exit, 0);
  EXPECT_EQ(mService->logConfig.level(), 3U);
  EXPECT_TRUE(mService->logConfig.console_logging());
  EXPECT_EQ(Run({"log-level"}).out, "warning\n");

  for (const auto* word : {"init", "enable", "disable", "recover", "terminate"})
    EXPECT_EQ(Run({word}).exit, 0);
  EXPECT_EQ(mService->requests,
            (std::vector<std::string>{"Initialize", "Enable", "Disable", "Recover", "Terminate"}));
  EXPECT_EQ(Run({"state"}).out, "Terminate, not enabled\n");
}

TEST_F(CtlTest, ShowsWhoDecidesAndWhoIsNext) {
  CFakeService::Offer(mService, mHost);
  EXPECT_EQ(Run({"limits"}).out,
            "  SOURCE                         LIMIT  PHASES       FOR\n"
            "  Hardware limitation         32.000 A       3  01:01:01\n"
            "> Local REST API              10.500 A       3  00:00:00  decides current\n"
            "> System current balancer     16.000 A       1  00:00:05  decides phases, runner-up\n"
            "setpoint   10.500 A on 1 phase: current by Local REST API, phases by System current balancer\n"
            "runner-up  16.000 A on 1 phase by System current balancer\n");
  EXPECT_EQ(Run({"get"}).out, "10.500 A on 1 phase by Local REST API\n");
  EXPECT_EQ(Run({"get"}, true).out,
            R"({"milliampere":10500,"phases":1,"source":{"enumerator":"ECurrentControlLocalRestApi",)"
            R"("name":"Local REST API","number":15}})"
            "\n");
  EXPECT_THAT(Run({"limits"}, true).out, HasSubstr(R"("unchanged_for_ms":3661000)"));
  Fill(mService->limits.mutable_setpoint(), ipc::ECurrentControlNone, -1000, 1);
  EXPECT_EQ(Run({"get"}).out, "none yet by Unknown source\n");
}

TEST_F(CtlTest, ShowsTheGroupAsTheStationSeesIt) {
  CFakeService::Offer(mService, mHost);
  EXPECT_EQ(Run({"group"}).out, "this station is in no group\n");
  EXPECT_EQ(Run({"group"}, true).out, "{\"role\":\"none\",\"stations\":[]}\n");
  ipc::MGroup& group = mService->group;
  const auto add = [&group](const std::string& serialNumber, const std::string& address, int state,
                            std::uint32_t phases, std::uint32_t limit) {
    ipc::MGroupStation& station = *group.add_stations();
    station.set_serial_number(serialNumber);
    station.set_address(address);
    station.set_state(static_cast<ipc::EGroupStationState>(state));
    station.set_phases(phases);
    station.set_limit(limit);
    station.mutable_drawn()->set_s(limit - limit / 100);
    station.set_fallback(6000);
    return &station;
  };
  group.set_role(ipc::EGroupRoleLeader);
  group.mutable_capacity()->set_r(40000);
  group.mutable_exposure()->set_t(39999);
  add("12-34-ABC-DE1", "", 1, 7, 13090)->set_is_own(true);
  add("12-34-ABC-DE2", "fe80::2", 3, 2, 16000)->set_heard_ago_ms(650);
  add("12-34-ABC-DE3", "fe80::3", 4, 5, 10000)->set_heard_ago_ms(61000);
  add("12-34-ABC-DE4", "fe80::4", 3, 0, 0)->set_phase_discovery(true);
  add("12-34-ABC-DE5", "", 2, 0, 0);
  add("12-34-ABC-DE6", "", 9, 0, 0);
  constexpr auto kTable =
      R"(STATION        ADDRESS       STATE        PHASES   LIMIT    R     S    T  FALLBACK    SEEN
12-34-ABC-DE1  this station  leads        R S T     13.0  0.0  12.9  0.0       6.0       -
12-34-ABC-DE2  fe80::2       led          S         16.0  0.0  15.8  0.0       6.0   0.6 s
12-34-ABC-DE3  fe80::3       silent       -            -    -     -    -       6.0  61.0 s
12-34-ABC-DE4  fe80::4       led          looking    0.0  0.0   0.0  0.0       6.0       -
12-34-ABC-DE5  -             joining      -            -    -     -    -       6.0       -
12-34-ABC-DE6  -             unknown (9)  -            -    -     -    -       6.0       -
)";
  constexpr auto kHead =
      "leader; to share R 40.0, S 0.0, T 0.0; given out R 0.0, S 0.0, T 39.9; currents in A\n";
  EXPECT_EQ(Run({"group"}).out, fmt::format("{}{}", kHead, kTable));
  group.set_settling(true);
  group.set_unheard(1);
  EXPECT_EQ(Run({"group"}).out,
            fmt::format("{}settling: nobody gets more than its fallback current for now\n"
                        "1 station of the group was never heard; its fallback current is kept\n{}",
                        kHead, kTable));
  group.mutable_stations()->DeleteSubrange(2, 4);
  EXPECT_EQ(Run({"group"}, true).out,
            R"({"capacity_milliampere":[40000,0,0],"exposure_milliampere":[0,0,39999],"role":"leader",)"
            R"("settling":true,"stations":[{"address":"","drawn_milliampere":[0,12960,0],)"
            R"("fallback_milliampere":6000,"limit_milliampere":13090,"own":true,"phase_discovery":false,)"
            R"("phases":["R","S","T"],"serial":"12-34-ABC-DE1","state":"leads"},{"address":"fe80::2",)"
            R"("drawn_milliampere":[0,15840,0],"fallback_milliampere":6000,"heard_ms_ago":650,)"
            R"("limit_milliampere":16000,"own":false,"phase_discovery":false,"phases":["S"],)"
            R"("serial":"12-34-ABC-DE2","state":"led"}],"unheard":1})"
            "\n");
}

TEST_F(CtlTest, ShowsAFollowerItselfAndWhoKnowsTheRest) {
  CFakeService::Offer(mService, mHost);
  mService->group.set_role(ipc::EGroupRoleFollower);
  ipc::MGroupStation& own = *mService->group.add_stations();
  own.set_serial_number("12-34-ABC-DE2");
  own.set_address("fe80::1");
  own.set_is_own(true);
  own.set_state(ipc::EGroupStationLed);
  own.set_heard_ago_ms(1900);
  EXPECT_EQ(Run({"group"}).out,
            R"(follower of fe80::1, which knows the rest of the group; currents in A
STATION        ADDRESS       STATE  PHASES  LIMIT    R    S    T  FALLBACK   SEEN
12-34-ABC-DE2  this station  led    -         0.0  0.0  0.0  0.0       0.0  1.9 s
)");
  own.set_state(ipc::EGroupStationSilent);
  EXPECT_THAT(Run({"group"}).out,
              testing::StartsWith("follower that nobody leads now; its leader knows the rest of the group"));
}

TEST_F(CtlTest, ListsTheSourcesWithoutAService) {
  const auto out = Run({"sources"}).out;
  EXPECT_EQ(std::count(out.begin(), out.end(), '\n'), 21);
  EXPECT_THAT(out,
              HasSubstr("\n  4  ECurrentControlBop                    Dynamic load balancing    service\n"));
  EXPECT_THAT(out,
              HasSubstr("\n 15  ECurrentControlLocalRestApi           Local REST API            client\n"));
}

TEST_F(CtlTest, WatchesOncePerSecondUntilStoppedAndThroughARestart) {
  CWorker other(mScheduler, "other");
  other.Start();
  const auto coming = other.AddCall([this] { CFakeService::Offer(mService, mHost); }, 1500ms);
  mStop = mScheduler.CreateEvent();
  const auto stopping = other.AddCall([this] { mStop->Set(); }, 3500ms);
  const SOutcome outcome = Run({"watch"}, true);  // looks at 0, 1, 2 and 3 s
  EXPECT_EQ(outcome.exit, 0);
  EXPECT_EQ(std::count(outcome.err.begin(), outcome.err.end(), '\n'), 2);
  EXPECT_EQ(std::count(outcome.out.begin(), outcome.out.end(), '\n'), 2);
}

TEST(CtlOptions, MayStandAnywhereAndAreRefusedWhenUnknown) {
  const SCtlOptions options = ReadWords(ReadCtlOptions, {"set", "--json", "15", "-r", "/x", "6"});
  EXPECT_EQ(options.words, (std::vector<std::string>{"set", "15", "6"}));
  EXPECT_EQ(options.root, "/x");
  EXPECT_TRUE(options.json);
  ExpectRefusals(ReadCtlOptions,
                 {{{}, "no command given; --help lists them"},
                  {{"set", "15", "-5"}, "unknown option '-5'"},
                  {{"get", "--list"}, "--list and --wait are for the command meter alone"},
                  {{"meter", "ct", "-w", "0"}, "--wait takes a whole number from 1 to 3600, not '0'"},
                  {{"get", "--root"}, "option '--root' needs an argument"}});
  EXPECT_THAT(CtlHelp(), HasSubstr("  set SOURCE AMPERES [PHASES]   ask for a limit, on 1 or 3 phases "));
}

}  // namespace
