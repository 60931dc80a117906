#include "platform/log/log.h"

#include <sstream>
#include <stdexcept>
#include <thread>

#include <gtest/gtest.h>
#include <spdlog/sinks/ostream_sink.h>

#include "ipc/logconfig.service.h"

#include "platform/log/logcapture.h"

namespace {

using ELevel = Log::ELogLevel;

/// Puts the process's log back as the next test expects it.
class CLogTest : public ::testing::Test {
 protected:
  ~CLogTest() override {
    Log::mSyslogSink.reset();
    Log::mConsoleSink.reset();
    Log::EnableConsoleLogging(true);
    Log::SetLogLevel(ELevel::Info);
  }
};

TEST_F(CLogTest, LinesNameTheirStatementFromTheProjectRootWithoutEnding) {
  CLogCapture capture;
  LOG_INFO("limit {} A", 16);
  const int line = __LINE__ - 1;
  ASSERT_EQ(capture.Lines().size(), 1U);
  EXPECT_EQ(capture.Lines()[0].position, "tests/platform/log/log_test:" + std::to_string(line));
  EXPECT_EQ(capture.Lines()[0].text, "limit 16 A");
}

TEST_F(CLogTest, DisabledLevelEvaluatesNothing) {
  Log::SetLogLevel(ELevel::Info);
  int evaluated = 0;
  LOG_DEBUG("{}", ++evaluated);
  EXPECT_EQ(evaluated, 0);
}

TEST_F(CLogTest, SinksHaveTheSameLinesAndQuietSilencesTheConsoleOnly) {
  std::ostringstream system;
  std::ostringstream console;
  Log::mSyslogSink = std::make_shared<spdlog::sinks::ostream_sink_mt>(system);
  Log::mConsoleSink = std::make_shared<spdlog::sinks::ostream_sink_mt>(console);
  Log::mSyslogSink->set_pattern("%l %v");
  Log::mConsoleSink->set_pattern("%l %v");
  Log::SetLogLevel(ELevel::Warning);

  LOG_INFO("too quiet");
  LOG_WARNING("first");
  Log::EnableConsoleLogging(false);
  LOG_CRITICAL("second");

  const auto lineOf = [](int line) { return "(tests/platform/log/log_test:" + std::to_string(line) + ") "; };
  const std::string first = "warning " + lineOf(__LINE__ - 5) + "first\n";
  EXPECT_EQ(console.str(), first);
  EXPECT_EQ(system.str(), first + "critical " + lineOf(__LINE__ - 5) + "second\n");
}

TEST_F(CLogTest, CaptureStaysWithItsThreadAndThoseThatAdoptIt) {
  CLogCapture outer(ELevel::Warning);
  std::thread stranger([] {
    CLogCapture own;
    LOG_ERROR("elsewhere");
    EXPECT_EQ(own.Count("elsewhere"), 1);
  });
  stranger.join();
  std::thread adopted([context = CLogCapture::OfThisThread()] {
    CLogCapture::CScope scope(context);
    LOG_ERROR("shared");
    LOG_INFO("below the captured level");
  });
  adopted.join();
  EXPECT_EQ(outer.Texts(ELevel::Error), std::vector<std::string>{"shared"});
  EXPECT_EQ(outer.Lines().size(), 1U);
}

TEST_F(CLogTest, LevelsLowerByOneStepAndStopAtTrace) {
  EXPECT_EQ(Log::GetLowerLogLevel(ELevel::Info), ELevel::Debug);
  EXPECT_EQ(Log::GetLowerLogLevel(ELevel::Trace), ELevel::Trace);
}

TEST_F(CLogTest, DemangleTakesTypesAndLeavesOtherTextAlone) {
  EXPECT_EQ(Log::Demangle(typeid(std::out_of_range).name()), "std::out_of_range");
  EXPECT_EQ(Log::Demangle("not a mangled name"), "not a mangled name");
}

TEST_F(CLogTest, ConfigServiceChangesLevelAndConsoleAndRefusesUnknownLevels) {
  const auto service = Log::CreateLogConfigService();
  ipc::MLogConfig wanted;
  wanted.set_level(4);
  wanted.set_console_logging(false);
  EXPECT_EQ(service->SetLogConfig(wanted).code(), 0U);
  EXPECT_EQ(Log::GetLogLevel(), ELevel::Error);
  EXPECT_FALSE(Log::mConsoleLoggingEnabled);

  CLogCapture capture;
  wanted.set_level(6);
  EXPECT_EQ(service->SetLogConfig(wanted).code(), 1U);
  EXPECT_EQ(service->GetLogConfig({}).level(), 4U);
  EXPECT_EQ(capture.Texts(ELevel::Warning).size(), 1U);
}

}  // namespace
