#include "platform/koconfig/koconfig.h"

#include <string>
#include <vector>

#include <gmock/gmock.h>
#include <json/value.h>

#include "platform/log/logcapture.h"
#include "platform/worker/virtualscheduler.h"
#include "simulation/memoryfiles.h"

namespace {

using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;

class KoConfigTest : public testing::Test {
 protected:
  std::shared_ptr<KoConfig::IConfig> Open() {
    return KoConfig::Create(scheduler, files, kPath,
                            [this](const std::string& key, const Json::Value& value) {
                              told.push_back(key + "=" + (value.isNull() ? "gone" : value.asString()));
                            });
  }
  /// As another process writes.
  void Write(const std::string& content) {
    files.Write(kPath, content);
    scheduler.RunDue();
  }
  std::vector<std::string> Lines(Log::ELogLevel level) {
    const auto lines = log.Texts(level);
    log.Clear();
    return lines;
  }

  const std::string kPath = "/board/etc/settings.json";
  CLogCapture log{Log::ELogLevel::Info};
  CVirtualScheduler scheduler;
  CMemoryFiles files;
  std::vector<std::string> told;
};

TEST_F(KoConfigTest, ReadsEachTypeWithinItsRangeAndElseTheDefault) {
  files.Write(kPath, R"({"max": 4294967295, "over": 4294967296, "min": -2147483648, "under": -2147483649,
    "whole": 16.0, "part": 16.5, "huge": 1e300, "yes": true, "one": 1, "word": "text", "null": null})");
  const auto store = KoConfig::CreateReadOnly(scheduler, files, kPath);
  EXPECT_EQ(store->GetUnsigned("max", 7), 4294967295U);
  EXPECT_EQ(store->GetUnsigned("whole", 7), 16U);
  EXPECT_EQ(store->GetSigned("min", 7), -2147483648);
  EXPECT_EQ(store->GetSigned("whole", 7), 16);
  for (const auto* key : {"over", "min", "part", "huge", "yes", "word", "null", "none"}) {
    EXPECT_EQ(store->GetUnsigned(key, 7), 7U) << key;
  }
  for (const auto* key : {"under", "max"}) EXPECT_EQ(store->GetSigned(key, 7), 7) << key;
  EXPECT_EQ(store->GetFloat("part", 1.0F), 16.5F);
  EXPECT_EQ(store->GetFloat("one", 2.0F), 1.0F);
  EXPECT_EQ(store->GetFloat("huge", 2.0F), 2.0F);
  EXPECT_TRUE(store->GetBool("yes", false));
  EXPECT_TRUE(store->GetBool("one", true));
  EXPECT_FALSE(store->GetBool("one", false));
  EXPECT_EQ(store->GetString("word", "other"), "text");
  EXPECT_EQ(store->GetString("one", "other"), "other");
}

TEST_F(KoConfigTest, WarnsOfAWrongValueOnceUntilItChanges) {
  const std::string kLong =
      R"({"HwMaxCurrent": "thirty-two and then more than anybody wants to see in a log file")";
  Write(kLong + "}");
  const auto store = Open();
  for (int i = 0; i < 3; ++i) EXPECT_EQ(store->GetUnsigned("HwMaxCurrent", 6), 6U);
  EXPECT_THAT(
      Lines(Log::ELogLevel::Warning),
      ElementsAre("/board/etc/settings.json: \"HwMaxCurrent\" has the value \"thirty-two and then more than "
                  "anybody wants to see in a log..., which is of the wrong type or out of range; 6 is used"));
  Write(kLong + R"(, "Other": 1})");
  store->GetUnsigned("HwMaxCurrent", 6);
  EXPECT_THAT(Lines(Log::ELogLevel::Warning), IsEmpty());
  Write(R"({"HwMaxCurrent": true})");
  EXPECT_EQ(store->GetString("HwMaxCurrent", ""), "");
  EXPECT_THAT(Lines(Log::ELogLevel::Warning), ElementsAre(HasSubstr("has the value true, which")));
}

TEST_F(KoConfigTest, KeepsTheLastGoodValuesWhileTheFileIsBad) {
  const std::vector<std::pair<std::string, std::string>> contents{
      {"", "Line 1, Column 1: the file is empty"},
      {"{\"A\": 2", "Line 1, Column 8 Missing ',' or '}' in object declaration"},
      {"{\n\"A\": oops}", "Line 2, Column 6 Syntax error: value, object or array expected."},
      {"{\"A\": 2} trailing", "Line 1, Column 10 Extra non-whitespace after JSON value."},
      {"[{\"A\": 2}]", "Line 1, Column 1: it is no JSON object"},
      {"{\"A\": " + std::string(100000, '['), "Exceeded stackLimit in readValue()."},
      {std::string(1024 * 1024 + 1, ' '), "it is larger than 1048576 bytes"}};
  Write(R"({"A": 1})");
  const auto store = Open();
  for (const auto& [content, reason] : contents) {
    Write(content);
    Write(content);
    EXPECT_EQ(store->GetUnsigned("A", 7), 1U) << reason;
    EXPECT_THAT(Lines(Log::ELogLevel::Error), ElementsAre("/board/etc/settings.json cannot be used: " +
                                                          reason + "; the last good values stay in force"));
    EXPECT_EQ(files.Content(kPath), content);
    EXPECT_EQ(Open()->GetUnsigned("A", 7), 7U);
    log.Clear();
  }
  files.FailReads(kPath, "Input/output error");
  scheduler.RunDue();
  EXPECT_EQ(store->GetUnsigned("A", 7), 1U);
  files.FailReads(kPath, "");
  Write(R"({"A": 3})");
  EXPECT_EQ(store->GetUnsigned("A", 7), 3U);
  EXPECT_THAT(Lines(Log::ELogLevel::Info), ElementsAre("/board/etc/settings.json can be used again"));
  EXPECT_THAT(told, ElementsAre("A=3"));
}

TEST_F(KoConfigTest, TellsWhatOthersChangedAndTakesAMissingFileForAnEmptyOne) {
  const auto store = Open();
  EXPECT_EQ(store->GetUnsigned("A", 7), 7U);
  EXPECT_THAT(Lines(Log::ELogLevel::Error), IsEmpty());
  Write(R"({"B": 2, "A": 1, "Same": "s"})");
  Write(R"({"A": 1.0, "Same": "s", "C": null})");
  files.Remove(kPath);
  scheduler.RunDue();
  EXPECT_EQ(store->GetString("Same", "default"), "default");
  EXPECT_THAT(told, ElementsAre("A=1", "B=2", "Same=s", "A=1.0", "B=gone", "A=gone", "Same=gone"));
}

TEST_F(KoConfigTest, WritesOneKeyIntoWhatOthersWroteAndTellsItOnce) {
  Write(R"({"A": "old", "Factor": 0.1, "Name": "Zähler"})");
  const auto store = Open();
  files.Write(kPath, R"({"A": "old", "Factor": 0.1, "Name": "Zähler", "Theirs": 1})");  // not taken in yet
  EXPECT_TRUE(store->SetString("A", "new"));
  EXPECT_TRUE(store->SetBool("On", true));
  EXPECT_TRUE(store->SetBool("On", true));
  EXPECT_EQ(store->GetString("A", ""), "new");
  EXPECT_THAT(told, IsEmpty());
  scheduler.RunDue();
  EXPECT_THAT(told, ElementsAre("Theirs=1", "A=new", "On=true"));
  EXPECT_EQ(files.Replacements(), 2);
  EXPECT_EQ(files.Content(kPath),
            "{\n  \"A\" : \"new\",\n  \"Factor\" : 0.10000000000000001,\n"
            "  \"Name\" : \"Zähler\",\n  \"On\" : true,\n  \"Theirs\" : 1\n}\n");
}

TEST_F(KoConfigTest, KeepsABrokenFileBesideTheOneThatItWrites) {
  const std::string huge(1024 * 1024 + 1, '{');
  for (const std::string& broken : {std::string("{\"A\": 1, \"B\""), huge}) {
    Write(R"({"A": "good"})");
    const auto store = Open();
    Write(broken);
    files.FailReplacements("No space left on device");
    EXPECT_FALSE(store->SetBool("On", true));
    EXPECT_EQ(files.Content(kPath), broken);
    files.FailReplacements("");
    EXPECT_TRUE(store->SetBool("On", true));
    EXPECT_EQ(files.Content(kPath + ".broken"), broken);
    EXPECT_EQ(files.Content(kPath), "{\n  \"A\" : \"good\",\n  \"On\" : true\n}\n");
  }
  const auto store = Open();
  files.FailReads(kPath, "Input/output error");
  EXPECT_FALSE(store->SetString("A", "it may be good: not written over"));
  EXPECT_EQ(files.Content(kPath), "{\n  \"A\" : \"good\",\n  \"On\" : true\n}\n");
}

TEST_F(KoConfigTest, HoldsInMemoryWhatCannotBeWrittenUntilTheNextWrite) {
  Write("{}");
  const auto store = Open();
  files.FailReplacements("Read-only file system");
  EXPECT_FALSE(store->SetString("A", "1"));
  EXPECT_FALSE(store->SetString("B", "1"));
  EXPECT_THAT(
      Lines(Log::ELogLevel::Error),
      ElementsAre("/board/etc/settings.json cannot be written: Read-only file system; what was set holds "
                  "in memory until then"));
  Write(R"({"B": "2", "C": "2"})");  // the newest word on B
  EXPECT_EQ(store->GetString("A", ""), "1");
  EXPECT_EQ(store->GetString("B", ""), "2");
  files.FailReplacements("");
  EXPECT_TRUE(store->SetString("D", "1"));
  EXPECT_EQ(files.Content(kPath),
            "{\n  \"A\" : \"1\",\n  \"B\" : \"2\",\n  \"C\" : \"2\",\n  \"D\" : \"1\"\n}\n");
  EXPECT_THAT(Lines(Log::ELogLevel::Info), ElementsAre("/board/etc/settings.json can be written again"));
}

TEST_F(KoConfigTest, TellsEachProcessOfItsKeysUntilItsListenerIsRemoved) {
  auto store = Open();
  std::vector<std::string> heard;
  const auto listener = [&](const std::string& name) {
    return [&heard, name](const Json::Value& value) { heard.push_back(name + value.asString()); };
  };
  store->AddListener("Ocpp", "A", listener("replaced"));
  store->AddListener("Ocpp", "A", listener("Ocpp "));
  store->AddListener("Display", "A", [&](const Json::Value& value) {
    heard.push_back("Display " + value.asString());
    store->RemoveListener("Display", "A");
    store->SetString("B", "from inside");
  });
  store->AddListener("Ocpp", "B", listener("B "));
  store->SetString("A", "1");
  scheduler.RunDue();
  Write(R"({"A": "2"})");
  store->RemoveListener("Ocpp", "A");
  Write("{}");
  EXPECT_THAT(heard, ElementsAre("Display 1", "Ocpp 1", "B from inside", "Ocpp 2", "B "));
  store->SetString("B", "never told");
  store.reset();
  scheduler.RunDue();
  EXPECT_EQ(heard.size(), 5U);
}

TEST_F(KoConfigTest, ReadsNowAndThenWhatCannotBeWatched) {
  files.FailWatches("No space left on device");
  const auto store = Open();
  EXPECT_THAT(Lines(Log::ELogLevel::Warning),
              ElementsAre(HasSubstr("cannot be watched: No space left on device")));
  Write(R"({"A": 1})");
  EXPECT_EQ(store->GetUnsigned("A", 7), 7U);
  scheduler.RunFor(Milliseconds{5000});
  EXPECT_EQ(store->GetUnsigned("A", 7), 1U);
}

}  // namespace
