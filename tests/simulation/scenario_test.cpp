#include "simulation/scenario.h"

#include <gmock/gmock.h>

#include "platform/utility/posixfiles.h"
#include "simulation/strictjson.h"

namespace {

using namespace std::chrono_literals;
using testing::ThrowsMessage;

TEST(Scenario, TellsPlaceKeyAndWhatIsAllowed) {
  const auto event = [](const std::string& action) {
    return R"({"events": [{"at": "00:00:01", )" + action + "}]}";
  };
  const std::pair<std::string, std::string> kCases[] = {
      {"", "1:1: Syntax error: value, object or array expected."},
      {"[]", R"(1:1: must be an object with "description", "repeat", "events")"},
      {"{\n\n}", R"(1:1: must have "events")"},
      {"{\"events\": [],\n \"lo\\\"op\": 1}",
       R"(2:2: "lo"op" is not a key that is known here; allowed: "description", "repeat", "events")"},
      {R"({"events": 3})", R"(1:2: "events" must be a list)"},
      {R"({"events": [], "events": []})", "1:16: Duplicate key: 'events'"},
      {R"({"events": [], "repeat": "00:00:00"})", R"(1:16: "repeat" must be longer than nothing)"},
      {"{\"events\": [\n  {\"supervisor\": \"enable\"}]}", R"(2:3: must have "at")"},
      {"{\"events\": [\n  {\"at\": \"00:00:01\"}]}", R"(2:3: must do something: "at" stands alone)"},
      {R"({"events": [{"at": "00:60:00", "supervisor": "enable"}]})",
       R"(1:14: "at" must be a time such as "01:30:00" or "00:00:02.500")"},
      {"{\"events\": [{\"at\": \"00:00:02\", \"supervisor\": \"enable\"},\n"
       "{\"supervisor\": \"enable\", \"at\" : \"00:00:01\"}]}",
       R"(2:26: "at" must not be earlier than that of the event before)"},
      {R"({"repeat": "00:00:02", "events": [{"at": "00:00:02", "supervisor": "enable"}]})",
       R"(1:36: "at" must be earlier than "repeat")"},
      {event(R"("supervisor": "enable", "pp-state": "13A")"),
       R"(1:32: "supervisor" must be an event of its own: an event does one thing)"},
      {event(R"("set-limit": {"source": "sun", "milliampere": 1})"),
       R"(1:46: "source" must be a limitation source: its number, enumerator or display name)"},
      {event(R"("set-limit": {"source": 15, "milliampere": 99999999999999999999})"),
       R"(1:60: "milliampere" must be a whole number from 0 to 999000)"},
      {event(R"("set-limit": {"source": 15, "milliampere": 6000, "phases": 2})"),
       R"(1:81: "phases" must be 1 or 3)"},
      {event(R"("vehicle": {"connected": "yes"})"), R"(1:44: "connected" must be true or false)"},
      {event(R"("temperature": {"mcu": {"relay1": true}})"),
       R"(1:56: "relay1" must be a number from -60 to 200)"},
      {event(R"("pp-state": "14A")"),
       R"(1:32: "pp-state" must be "disconnect", "13A", "20A", "32A", "63A/70A", "error" or "invalid")"},
      {event(R"("meter": "gone")"), R"(1:32: "meter" must be "vanish", "return" or "garble")"},
      {event(R"("cable": "13")"), R"(1:32: "cable" must be "13A", "20A", "32A", "63A/70A" or "pull")"},
      {event(R"("roof": "on")"), R"(1:32: "roof" must be "off")"},
      {event(R"("roof": {"weather": "clear", "begins-at": "24:00:00"})"),
       R"(1:61: "begins-at" must be a time of day)"},
      {event(R"("roof": {"weather": "snow"})"),
       R"(1:41: "weather" must be "clear", "broken-clouds" or "rain")"},
      {event(R"("house": {"fuse-ampere": 0})"),
       R"(1:42: "fuse-ampere" must be a whole number from 1 to 125)"}};
  for (const auto& [text, error] : kCases)
    EXPECT_THAT([&text = text] { ReadScenario("s.json", text); },
                ThrowsMessage<CFileError>("s.json:" + error));
  EXPECT_THROW(ReadScenario("s.json", std::string(100000, '[')), CFileError);
}

TEST(Scenario, ThoseAtHandAreRight) {
  CPosixFiles files;
  EXPECT_EQ(LoadScenario(files, SCENARIOS "/demo.json").repeat, 1min);
  const auto fates = LoadScenario(files, SCENARIOS "/meter-lost.json").events;
  EXPECT_EQ(std::get<SScenario::SMeter>(fates.at(3).action).fate, CHouseMeter::EFate::Away);
  EXPECT_EQ(LoadScenario(files, SCENARIOS "/evening.json").events.back().at, 9h + 1s);
  EXPECT_THAT([&] { LoadScenario(files, "/none.json"); },
              ThrowsMessage<CFileError>("cannot read scenario /none.json: open: No such file or directory"));
}

}  // namespace
