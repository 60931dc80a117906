#include <gmock/gmock.h>

#include "platform/koconfig/koconfig.h"
#include "platform/koconfig/secrettext.h"
#include "platform/log/logcapture.h"
#include "platform/worker/virtualscheduler.h"
#include "simulation/memoryfiles.h"

namespace {

class SecretStoreTest : public testing::Test {
 protected:
  /// What was logged since the last time, without the file's name in front.
  std::string Told() {
    std::string told;
    for (const auto& line : log.Lines()) told += line.text.substr(line.text.find("json") + 4);
    log.Clear();
    return told;
  }

  const std::string kPath = "/etc/secrets.json";
  CLogCapture log{Log::ELogLevel::Trace};
  CVirtualScheduler scheduler;
  CMemoryFiles files;
  std::shared_ptr<KoConfig::IReadOnlyConfig> store =
      KoConfig::CreateReadOnly(scheduler, files, kPath, KoConfig::EContents::Secret);
};

TEST_F(SecretStoreTest, ReadsWhatStandsInTheFileNowAndTellsOnceWhatIsWrongAndNothingOfIt) {
  const std::string unusable = " cannot be used: Line ";
  const std::string missing = "; every secret in it counts as missing";
  const std::string noJson = ": it is no JSON object" + missing;
  const std::string wrong =
      ": \"Key\" has a value (not shown) that is of the wrong type or out of range; it counts as missing";
  const struct {
    std::string file;
    std::string secret;  // "none": the default
    std::string told = {};
  } kCases[] = {
      {R"({"Key": "hunter2"})", "hunter2", " can be used again"},
      {"\xEF\xBB\xBF{ \"Other\" : \"x\",\n \"Key\"\n:\t\"hunter2\" }\n", "hunter2"},
      {R"({"Key": "old", "Inner": {"Key": "old"}, "List": ["Key", "old"], "Key": ""})", ""},
      {"{// \"Key\": \"old\"\n\"Key\" /* \"a\": */ : // \"\n /**/ \"hunter2\"} // :", "hunter2"},
      {R"({"K\u0065y": "//\"\\\/ \b\f\n\r\t'{}:,"})", "//\"\\/ \b\f\n\r\t'{}:,"},
      {R"({"Key": "\u0041\u00e4\u20AC\ud83d\udd11ä"})", "Aä€\U0001F511ä"},
      {R"({"Key": null})", "none"},
      {R"({"Key": "hunter\x2"})", "none", wrong},
      {R"({"Key": "\u12"})", "none"},
      {R"({"Key": "\ud83d\u0041"})", "none"},
      {R"({"Key": ["hunter2"]})", "none"},
      {R"({"Key": "hunter2\"})", "none", unusable + "1, Column 9" + noJson},
      {"{\n\"Key\": 1hunter2}", "none", unusable + "2, Column 9" + noJson},
      {R"({"hunter2"})", "none", unusable + "1, Column 11" + noJson},
      {R"({"Key": "hunter2"} hunter2)", "none", unusable + "1, Column 20" + noJson},
      {R"(["hunter2"])", "none", unusable + "1, Column 1" + noJson},
      {"", "none", unusable + "1, Column 1: the file is empty" + missing},
      {std::string(1024 * 1024 + 1, ' '), "none",
       " cannot be used: it is larger than 1048576 bytes" + missing},
      {R"({"Key": "good"})", "good", " can be used again"},
  };
  EXPECT_EQ(store->GetString("Key", "none"), "none");
  EXPECT_EQ(Told(), " is missing, and every secret in it");
  for (const auto& item : kCases) {
    files.Write(kPath, item.file);
    for (int again = 0; again < 3; ++again) EXPECT_EQ(store->GetString("Key", "none"), item.secret);
    EXPECT_EQ(Told(), item.told) << item.file.substr(0, 99);
  }
  files.Write(kPath, R"({"A": true, "B": 7, "C": -7, "D": 0.5, "E": "word"})");
  EXPECT_TRUE(store->GetBool("A", false));
  EXPECT_EQ(store->GetUnsigned("B", 1), 7U);
  EXPECT_EQ(store->GetSigned("C", 1), -7);
  EXPECT_EQ(store->GetFloat("D", 1), 0.5F);
  EXPECT_EQ(store->GetUnsigned("E", 1), 1U);
}

TEST_F(SecretStoreTest, WarnsWhileEveryoneMayReadTheFile) {
  const std::string warning = " holds secrets and can be read by every user of this system: ";
  files.Write(kPath, "{}");
  files.LetOthersRead(kPath, true);
  store = KoConfig::CreateReadOnly(scheduler, files, kPath, KoConfig::EContents::Secret);
  EXPECT_EQ(Told(), warning + "take that from them, \"chmod 600 /etc/secrets.json\"");
  for (const bool mayRead : {true, false, true, true}) {
    files.LetOthersRead(kPath, mayRead);
    store->GetBool("A", false);
  }
  EXPECT_THAT(Told(), testing::StartsWith(warning));
}

TEST(SecretText, ShowsAParserNoStringAndNoComment) {
  const std::pair<std::string, std::string> kCases[] = {
      {R"({"Key": "a\"b\\", "K" : ["c", {"d" /*e*/ /*f*/ : "g"}]})",
       R"({"Key": "******", "K" : ["*", {"d"             : "*"}]})"},
      {"// a \"b\n/* c\n* / */ {} // d", "       \n    \n       {}     "},
      {"\"a\nb\r", "\"*\n*\r"},
      {"\"a\\", "\"**"},
      {"/* \"a", "/* \"*"},
      {"{\"a\" /", "{\"*\" /"},
  };
  for (const auto& [text, blotted] : kCases) EXPECT_EQ(KoConfig::SecretText::Blotted(text), blotted);
}

}  // namespace
