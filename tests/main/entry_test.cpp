#include <sstream>
#include <stdexcept>
#include <string>
#include <thread>
#include <vector>

#include <gtest/gtest.h>

#include "platform/log/log.h"
#include "src/main/commandline.h"
#include "src/main/terminatehandler.h"

namespace {

struct SParsed {
  std::optional<SCommandLine> commandLine;
  std::string output;
};

SParsed Parse(std::vector<std::string> words) {
  std::vector<char*> arguments;
  words.insert(words.begin(), "currentcontrol");
  for (auto& word : words) arguments.push_back(word.data());
  const int count = static_cast<int>(arguments.size());
  arguments.push_back(nullptr);
  std::ostringstream output;
  auto commandLine = ParseCommandLine(count, arguments.data(), output);
  return {std::move(commandLine), output.str()};
}

class CCommandLineTest : public ::testing::Test {
 protected:
  ~CCommandLineTest() override {
    Log::SetLogLevel(Log::ELogLevel::Info);
    Log::EnableConsoleLogging(true);
  }
};

TEST_F(CCommandLineTest, DefaultsWithoutOptions) {
  const auto parsed = Parse({});
  ASSERT_TRUE(parsed.commandLine);
  EXPECT_EQ(parsed.commandLine->root, "/");
  EXPECT_EQ(Log::GetLogLevel(), Log::ELogLevel::Info);
  EXPECT_TRUE(Log::mConsoleLoggingEnabled);
  EXPECT_EQ(parsed.output, "");
}

TEST_F(CCommandLineTest, EachVerboseLowersTheLevelByOneStep) {
  using Words = std::vector<std::string>;
  for (const auto& words :
       {Words{"-v", "-v"}, Words{"-vv"}, Words{"--verbose", "--verbose"}, Words{"-vvvv"}}) {
    Log::SetLogLevel(Log::ELogLevel::Info);
    EXPECT_TRUE(Parse(words).commandLine);
    EXPECT_EQ(Log::GetLogLevel(), Log::ELogLevel::Trace);
  }
}

TEST_F(CCommandLineTest, QuietAndRootTakeEffectInTheOrderGiven) {
  const auto parsed = Parse({"-q", "--root=/srv/station/", "-r", "relative"});
  ASSERT_TRUE(parsed.commandLine);
  EXPECT_EQ(parsed.commandLine->root, "relative");
  EXPECT_FALSE(Log::mConsoleLoggingEnabled);
}

TEST_F(CCommandLineTest, UsageShowsTheRootAsItStands) {
  const auto parsed = Parse({"-r", "/srv", "-v", "--help"});
  EXPECT_FALSE(parsed.commandLine);
  EXPECT_EQ(parsed.output,
            "usage: currentcontrol [OPTION]\n"
            "  -v, --verbose    increase verbosity  -q, --quiet      disable logging to console\n"
            "  -r, --root=PATH  set the filesystem root directory\n"
            "                   defaults to '/srv'\n"
            "  -h, --help       show this help message and exit\n\n");
  EXPECT_EQ(Log::GetLogLevel(), Log::ELogLevel::Debug) << "options before the help option have taken effect";
}

TEST_F(CCommandLineTest, UsageForWhatIsNotUnderstood) {
  using Words = std::vector<std::string>;
  for (const auto& words :
       {Words{"-s"}, Words{"-h"}, Words{"-r"}, Words{"--root"}, Words{"-x"}, Words{"--colour"}}) {
    const auto parsed = Parse(words);
    EXPECT_FALSE(parsed.commandLine) << words.front();
    EXPECT_NE(parsed.output.find("defaults to '/'"), std::string::npos) << words.front();
  }
}

class CTerminateHandlerDeathTest : public ::testing::Test {
 protected:
  /// Ends the process like an exception that nobody catches, on a thread of its own.
  template <class TException>
  [[noreturn]] static void DieOf(TException exception) {
    Log::Init("Currentcontrol", Log::ELogLevel::Info);
    InstallTerminateHandler();
    std::thread([&] { throw exception; }).join();
    std::abort();
  }
};

TEST_F(CTerminateHandlerDeathTest, NamesWhatEndsTheProcess) {
  EXPECT_DEATH(
      DieOf(std::out_of_range("beyond")),
      "critical.*\\(src/main/terminatehandler:[0-9]+\\) Uncaught exception of type 'std::out_of_range' with "
      "message: 'beyond'\n.*critical.*\\) Aborting process\\.");
  EXPECT_DEATH(DieOf(std::runtime_error("")),
               "Uncaught exception of type 'std::runtime_error' with message: ''\n.*Aborting process\\.");
  EXPECT_DEATH(DieOf(42), "Uncaught exception of unknown type\\.\n.*Aborting process\\.");
}

TEST_F(CTerminateHandlerDeathTest, SaysNothingOfAnExceptionWhenThereIsNone) {
  const auto die = [] {
    Log::Init("Currentcontrol", Log::ELogLevel::Info);
    InstallTerminateHandler();
    std::terminate();
  };
  EXPECT_DEATH(die(), "^[^\n]*Aborting process\\.\n");
}

}  // namespace
