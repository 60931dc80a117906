#include "src/components/measurementsources/p1extender.h"

#include <algorithm>
#include <string>
#include <vector>

#include <gmock/gmock.h>

#include "platform/log/logcapture.h"
#include "platform/worker/virtualscheduler.h"
#include "simulation/memoryfiles.h"
#include "simulation/simulatedrs485line.h"
#include "src/communication/nocommunicationlistener.h"
#include "src/communication/rs485endpoint.h"
#include "src/components/measurementsources/p1parser.h"
#include "support/p1text.h"

namespace {

using namespace std::chrono_literals;
using ::testing::ElementsAre;

/// The telegrams that the framing finds, "endless" for each that it drops.
std::vector<std::string> Framed(std::string_view bytes, std::size_t piece) {
  std::vector<std::string> found;
  CP1Framing framing(
      [&found](std::span<const std::uint8_t> telegram) {
        found.emplace_back(telegram.begin(), telegram.end());
      },
      [&found] { found.emplace_back("endless"); });
  for (; !bytes.empty(); bytes.remove_prefix(std::min(piece, bytes.size())))
    framing.Feed(Bytes(bytes.substr(0, piece)));
  return found;
}

TEST(P1Framing, FindsTelegramsInWhateverPiecesAndGarbage) {
  using namespace std::string_literals;
  const std::string longest = "/" + std::string(8192 - 6, 'x') + "!ABCD";
  const std::string endless = "/" + std::string(1024 * 1024, 'x') + "!ABCD";
  for (const std::size_t piece : {1U, 2U, 7U, 128U, 8192U, 2000000U}) {
    EXPECT_THAT(Framed("7*A)\r\n!1234\r\n/A!12cd\r\n/B!0000/C!1111", piece),
                ElementsAre("/A!12cd", "/B!0000", "/C!1111"));
    EXPECT_THAT(Framed("/cut\r\n/\0A\0!\0"
                       "124xx!99/D!ab"s,
                       piece),
                ElementsAre("/\0A\0!\0"
                            "124"s));
    EXPECT_THAT(Framed("/A!!123!456", piece), ElementsAre("/A!!123"));
    EXPECT_THAT(Framed("/A!\r\n/B!1/C!1234", piece), ElementsAre("/A!\r\n", "/B!1", "/C!1234"))
        << "without checksum";
    EXPECT_THAT(Framed(longest + endless + "/A!1234", piece), ElementsAre(longest, "endless", "/A!1234"));
    EXPECT_THAT(Framed(longest.substr(0, 8191) + "x" + longest, piece),
                ElementsAre(longest.substr(0, 8191) + "x", longest));
    EXPECT_THAT(Framed("/x" + longest.substr(1), piece), ElementsAre("endless"));
  }
}

class P1ExtenderTest : public ::testing::Test {
 protected:
  P1ExtenderTest() {
    mHouse.SetLoads({10000, 0, 20000});
    mExtender.RegisterErrorHandler([this](bool error) { mErrors.push_back(error); });
  }

  CVirtualScheduler mScheduler;
  CLogCapture mLog{Log::ELogLevel::Info};
  CChargePoint mChargePoint{mScheduler};
  CHouse mHouse{mScheduler, mChargePoint};
  CHouseMeter mMeter{mScheduler, mHouse};
  CMemoryFiles mFiles;
  std::vector<bool> mErrors;
  std::shared_ptr<CSimulatedRs485Line> mLine = std::make_shared<CSimulatedRs485Line>(mScheduler, mMeter);
  CP1Extender mExtender{mScheduler,
                        mLine,
                        std::make_unique<CP1Parser>(mFiles, "/p1.log", nullptr),
                        "The P1 meter",
                        {.silence = CP1Extender::kSilence}};
};

TEST_F(P1ExtenderTest, MeasuresWhatGoodTelegramsCarryAndIsInErrorWithoutThem) {
  ASSERT_TRUE(mExtender.Init());
  EXPECT_FALSE(mExtender.HasMeasurement(EMeasureType::Current)) << "no telegram yet";
  mScheduler.RunFor(10s);
  // 232 V less 150 mOhm times the current, and a flicker of up to 0.6 V.
  EXPECT_NEAR(mExtender.GetMeasurementAverage(EMeasureType::Current, 2500ms)[0], 10000, 5);
  EXPECT_NEAR(mExtender.GetMeasurements(EMeasureType::Voltage)[2], 229, 1);
  EXPECT_NEAR(mExtender.GetMeasurements(EMeasureType::ActivePower)[0], 10 * 230.8 + 20 * 229.3, 15);

  mMeter.SetFate(CHouseMeter::EFate::Away);
  mScheduler.RunFor(29s);
  EXPECT_TRUE(mErrors.empty());
  mScheduler.RunFor(10min);
  EXPECT_FALSE(mExtender.HasMeasurement(EMeasureType::Current));
  mMeter.SetFate(CHouseMeter::EFate::Good);
  mScheduler.RunFor(1s);
  mMeter.SetFate(CHouseMeter::EFate::Garbled);
  mScheduler.RunFor(10min);
  EXPECT_THAT(mErrors, ElementsAre(true, false, true));
  EXPECT_THAT(mLog.Texts(Log::ELogLevel::Error),
              ElementsAre("The P1 meter cannot be read: nothing was heard of it for 30000 ms",
                          "Checksum mismatch", "The P1 meter cannot be read: its telegrams are damaged"));
  mExtender.DeInit();
  mMeter.SetFate(CHouseMeter::EFate::Good);
  mScheduler.RunFor(10min);
  EXPECT_FALSE(mExtender.HasMeasurement(EMeasureType::Current));
}

/// A line that brings what the test says.
class CScriptedLine final : public CNoCommunicationListener {
 public:
  bool Start() override { return true; }
  void SetDataReceivedHandler(DataReceivedHandler handler) override { mHandler = std::move(handler); }
  void Bring(std::string_view bytes) {
    mEndpoint->Append(Bytes(bytes));
    mHandler(mEndpoint);
  }

 private:
  using Endpoint = CCommunicationListener::CEndpoint;
  const std::shared_ptr<Endpoint> mEndpoint = std::make_shared<Endpoint>();
  DataReceivedHandler mHandler;
};

TEST_F(P1ExtenderTest, TellsALineThatBringsSomethingElseFromASilentOne) {
  const auto line = std::make_shared<CScriptedLine>();
  CP1Extender extender(mScheduler, line, std::make_unique<CP1Parser>(mFiles, "/p1.log", nullptr),
                       "The P1 meter", {.silence = CP1Extender::kSilence});
  extender.Init();
  for (int second = 0; second < 32; ++second) {
    line->Bring("/cut off\r\n" + std::string(400, '\xff'));
    mScheduler.RunFor(1s);
  }
  EXPECT_THAT(
      mLog.Texts(Log::ELogLevel::Error),
      ElementsAre("The P1 meter cannot be read: what arrives holds no telegrams, is its line at 115200 "
                  "baud, 8N1?"));
}

TEST_F(P1ExtenderTest, TriesALineThatItCannotHaveAgain) {
  mLine->SetPresent(false);
  EXPECT_FALSE(mExtender.Init());
  EXPECT_THAT(mErrors, ElementsAre(true)) << "at once";
  mScheduler.RunFor(62s);
  mLine->SetPresent(true);
  mScheduler.RunFor(29s);
  EXPECT_THAT(mErrors, ElementsAre(true)) << "tried 61 s after, and next 91 s";
  mScheduler.RunFor(1s);
  EXPECT_THAT(mErrors, ElementsAre(true, false));
  EXPECT_TRUE(mExtender.HasMeasurement(EMeasureType::Current));
  EXPECT_THAT(mLog.Texts(Log::ELogLevel::Error),
              ElementsAre("The P1 meter cannot be read: there is no serial line to it"));
}

}  // namespace
