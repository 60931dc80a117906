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

TEST_F(CCommandLineTest, OptionsTakeEffectInTheOrderGiven) {
  EXPECT_EQ(Parse({}).commandLine.value().root, "/");
  EXPECT_EQ(Log::GetLogLevel(), Log::ELogLevel::Info);
  EXPECT_TRUE(Log::mConsoleLoggingEnabled);
  EXPECT_EQ(Parse({"-q", "--root=/srv/station/", "--verbose", "-r", "relative"}).commandLine.value().root,
            "relative");
  EXPECT_FALSE(Log::mConsoleLoggingEnabled);
  EXPECT_EQ(Log::GetLogLevel(), Log::ELogLevel::Debug);
  EXPECT_TRUE(Parse({"-vvv"}).commandLine);
  EXPECT_EQ(Log::GetLogLevel(), Log::ELogLevel::Trace) << "there is none below";
}

TEST_F(CCommandLineTest, UsageForWhatIsNotUnderstood) {
  for (const auto* word : {"-s", "-h", "-r", "--root", "--colour"}) {
    const auto parsed = Parse({word});
    EXPECT_FALSE(parsed.commandLine) << word;
    EXPECT_NE(parsed.output.find("defaults to '/'"), std::string::npos) << word;
  }
}

/// Ends the process like an exception that nobody catches, on a thread of its own.
template <class TException>
[[noreturn]] void DieOf(TException exception) {
  Log::Init("Currentcontrol", Log::ELogLevel::Info);
  InstallTerminateHandler();
  std::thread([&] { throw exception; }).join();
  std::abort();
}

TEST(CTerminateHandlerDeathTest, NamesWhatEndsTheProcess) {
  EXPECT_DEATH(
      DieOf(std::out_of_range("beyond")),
      "critical.*\\(src/main/terminatehandler:[0-9]+\\) Uncaught exception of type 'std::out_of_range' with "
      "message: 'beyond'\n.*critical.*\\) Aborting process\\.");
  EXPECT_DEATH(DieOf(42), "Uncaught exception of unknown type\\.\n.*Aborting process\\.");
}

TEST(CTerminateHandlerDeathTest, SaysNothingOfAnExceptionWhenThereIsNone) {
  const auto die = [] {
    Log::Init("Currentcontrol", Log::ELogLevel::Info);
    InstallTerminateHandler();
    std::terminate();
  };
  EXPECT_DEATH(die(), "^[^\n]*Aborting process\\.\n");
}

}  // namespace
