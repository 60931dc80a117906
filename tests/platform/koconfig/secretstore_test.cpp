#include <string>
#include <vector>

#include <gmock/gmock.h>

#include "platform/koconfig/koconfig.h"
#include "platform/koconfig/secrettext.h"
#include "platform/log/logcapture.h"
#include "platform/worker/virtualscheduler.h"
#include "simulation/memoryfiles.h"

namespace {

using testing::ElementsAre;
using testing::IsEmpty;

class SecretStoreTest : public testing::Test {
 protected:
  std::shared_ptr<KoConfig::IReadOnlyConfig> Open() {
    return KoConfig::CreateReadOnly(scheduler, files, kPath, KoConfig::EContents::Secret);
  }
  std::vector<std::string> Lines() {
    std::vector<std::string> lines;
    for (const auto& line : log.Lines()) lines.push_back(line.text);
    log.Clear();
    return lines;
  }

  const std::string kPath = "/board/etc/secrets.json";
  CLogCapture log{Log::ELogLevel::Trace};
  CVirtualScheduler scheduler;
  CMemoryFiles files;
};

TEST_F(SecretStoreTest, ReadsWhatStandsInTheFileNow) {
  const struct {
    std::string file;
    std::string password;  // "none": the default
  } kCases[] = {
      {R"({"Password": "hunter2"})", "hunter2"},
      {"\xEF\xBB\xBF{ \"Other\" : \"x\",\n \"Password\"\n:\t\"hunter2\" }\n", "hunter2"},
      {R"({"Password": "old", "Password": "hunter2"})", "hunter2"},
      {"{// \"Password\": \"old\"\n\"Password\" /* \"a\": */ : // \"\n /**/ \"hunter2\"} /*", "none"},
      {"{// \"Password\": \"old\"\n\"Password\" /* \"a\": */ : // \"\n /**/ \"hunter2\"} // :", "hunter2"},
      {R"({"Inner": {"Password": "old"}, "List": ["Password", "old"], "Password": "hunter2"})", "hunter2"},
      {R"({"Pass\u0077ord": "//\"\\\/ \b\f\n\r\t'{}:,"})", "//\"\\/ \b\f\n\r\t'{}:,"},
      {R"({"Password": "\u0041\u00e4\u20AC\ud83d\udd11ä"})", "Aä€\U0001F511ä"},
      {R"({"Password": ""})", ""},
      {R"({"Password": null})", "none"},
      {R"({"Password": "\x"})", "none"},
      {R"({"Password": "\u12"})", "none"},
      {R"({"Password": "\ud83d"})", "none"},
      {R"({"Password": "\ud83d\u0041"})", "none"},
      {R"({"Password": ["hunter2"]})", "none"},
      {R"({"Password": "hunter2\"})", "none"},
      {R"({"Password": "hunter2)", "none"},
      {R"(["Password", "hunter2"])", "none"},
      {"", "none"},
      {std::string(1024 * 1024 + 1, ' '), "none"},
  };
  const auto store = Open();
  for (const auto& item : kCases) {
    files.Write(kPath, item.file);
    EXPECT_EQ(store->GetString("Password", "none"), item.password) << item.file.substr(0, 99);
  }
  files.Write(kPath, R"({"A": true, "B": 7, "C": -7, "D": 0.5, "E": "word"})");
  EXPECT_TRUE(store->GetBool("A", false));
  EXPECT_EQ(store->GetUnsigned("B", 1), 7U);
  EXPECT_EQ(store->GetSigned("C", 1), -7);
  EXPECT_EQ(store->GetFloat("D", 1), 0.5F);
  EXPECT_EQ(store->GetUnsigned("E", 1), 1U);
}

TEST_F(SecretStoreTest, TellsEachChangeOnceAndNothingOfTheContents) {
  files.Remove(kPath);
  const std::string cannot = kPath + " cannot be used: ";
  const std::string missing = "; every secret in it counts as missing";
  const struct {
    std::string file;
    std::string line;
  } kCases[] = {
      {"{\n\"Password\": 1hunter2}", cannot + "Line 2, Column 14: it is no JSON object" + missing},
      {"[\"hunter2\"]", cannot + "Line 1, Column 1: it is no JSON object" + missing},
      {"{\"Password\": \"hunter2\"} hunter2", cannot + "Line 1, Column 25: it is no JSON object" + missing},
      {"{\"hunter2\"}", cannot + "Line 1, Column 11: it is no JSON object" + missing},
      {"", cannot + "Line 1, Column 1: the file is empty" + missing},
      {"{\"Password\": 2}", kPath + " can be used again"},
  };
  const auto store = Open();
  const auto read = [&] {
    for (int again = 0; again < 3; ++again) store->GetString("Password", "");
  };
  EXPECT_THAT(Lines(), IsEmpty());
  read();
  EXPECT_THAT(Lines(), ElementsAre(kPath + " is missing, and every secret in it"));
  const std::string wrong =
      ": \"Password\" has a value (not shown) that is of the wrong type or out of range; it counts as "
      "missing";
  for (const auto& item : kCases) {
    files.Write(kPath, item.file);
    read();
    std::vector<std::string> expected{item.line};
    if (item.file.ends_with("2}") && !item.file.ends_with("hunter2}")) expected.push_back(kPath + wrong);
    EXPECT_EQ(Lines(), expected) << item.file;
  }
  files.Write(kPath, "{\"Password\": \"hunter2\"}");
  read();
  files.FailReads(kPath, "Input/output error");
  read();
  EXPECT_THAT(Lines(), ElementsAre(cannot + "Input/output error" + missing));
}

TEST_F(SecretStoreTest, WarnsWhileEveryoneMayReadTheFile) {
  const std::string line =
      kPath +
      " holds secrets and can be read by every user of this system: take that from them, "
      "\"chmod 600 " +
      kPath + "\"";
  files.Write(kPath, "{}");
  files.LetOthersRead(kPath, true);
  const auto store = Open();
  EXPECT_THAT(Lines(), ElementsAre(line)) << "also when no secret is ever asked for";
  for (const bool mayRead : {true, false, true, true}) {
    files.LetOthersRead(kPath, mayRead);
    store->GetBool("A", false);
    store->GetBool("A", false);
  }
  EXPECT_THAT(Lines(), ElementsAre(line));
}

TEST(SecretText, ShowsAParserNoStringAndNoComment) {
  const struct {
    std::string text;
    std::string blotted;
  } kCases[] = {
      {R"({"Key": "a\"b\\", "K" : ["c", {"d" /*e*/ /*f*/ : "g"}]})",
       R"({"Key": "******", "K" : ["*", {"d"             : "*"}]})"},
      {"// a \"b\n/* c\n* / */ {} // d", "       \n    \n       {}     "},
      {"\"a\nb\r", "\"*\n*\r"},
      {"\"a\\", "\"**"},
      {"/", "/"},
      {"/* \"a", "/* \"*"},
      {"{\"a\" /", "{\"*\" /"},
  };
  for (const auto& item : kCases) EXPECT_EQ(KoConfig::SecretText::Blotted(item.text), item.blotted);
}

}  // namespace
