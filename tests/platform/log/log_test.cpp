#include "platform/log/log.h"

#include <sstream>
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

TEST_F(CLogTest, SinksHaveTheSameLinesAndQuietSilencesTheConsoleOnly) {
  std::ostringstream system;
  std::ostringstream console;
  Log::mSyslogSink = std::make_shared<spdlog::sinks::ostream_sink_mt>(system);
  Log::mConsoleSink = std::make_shared<spdlog::sinks::ostream_sink_mt>(console);
  Log::mSyslogSink->set_pattern("%l %v");
  Log::mConsoleSink->set_pattern("%l %v");
  Log::SetLogLevel(ELevel::Warning);

  int evaluated = 0;
  LOG_INFO("too quiet {}", ++evaluated);
  LOG_WARNING("{} A", 16);
  const auto lineOf = [line = __LINE__ - 1](int after) { return std::to_string(line + after) + ") "; };
  Log::EnableConsoleLogging(false);
  LOG_CRITICAL("second");
  EXPECT_EQ(evaluated, 0);
  const std::string first = "warning (tests/platform/log/log_test:" + lineOf(0) + "16 A\n";
  EXPECT_EQ(console.str(), first);
  EXPECT_EQ(system.str(), first + "critical (tests/platform/log/log_test:" + lineOf(3) + "second\n");
}

TEST_F(CLogTest, CaptureStaysWithItsThreadAndThoseThatAdoptIt) {
  CLogCapture outer(ELevel::Warning);
  std::thread([] {
    CLogCapture own;
    LOG_ERROR("elsewhere");
    EXPECT_EQ(own.Count("elsewhere"), 1);
  }).join();
  std::thread([context = CLogCapture::OfThisThread()] {
    CLogCapture::CScope scope(context);
    LOG_ERROR("shared");
    LOG_INFO("below the captured level");
  }).join();
  ASSERT_EQ(outer.Lines().size(), 1U);
  EXPECT_EQ(outer.Lines()[0].text, "shared");
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
