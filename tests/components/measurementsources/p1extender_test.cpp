#include "src/components/measurementsources/p1extender.h"

#include <algorithm>

#include "components/measurementsources/meteredhouse.h"
#include "simulation/simulatedrs485line.h"
#include "src/communication/nocommunicationlistener.h"
#include "src/communication/rs485endpoint.h"
#include "src/components/measurementsources/p1parser.h"
#include "support/p1text.h"

namespace {

using namespace std::chrono_literals;
using ::testing::ElementsAre;
using ::testing::MatchesRegex;
using ::testing::Not;
using ::testing::StartsWith;

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
    EXPECT_THAT(Framed("/A!\r\n/B!1/C!1234", piece), ElementsAre("/A!\r\n", "/B!1", "/C!1234"))
        << "without checksum";
    EXPECT_THAT(Framed(longest + endless + "/A!1234", piece), ElementsAre(longest, "endless", "/A!1234"));
    EXPECT_THAT(Framed(longest.substr(0, 8191) + "x" + longest, piece),
                ElementsAre(longest.substr(0, 8191) + "x", longest));
    EXPECT_THAT(Framed("/x" + longest.substr(1), piece), ElementsAre("endless"));
  }
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

class P1ExtenderTest : public ::testing::Test, protected SMeteredHouse {
 protected:
  bool Init(std::shared_ptr<ICommunicationListener> line) {
    mExtender.emplace(scheduler, std::move(line), std::make_unique<CP1Parser>(files, "/p1.log", nullptr),
                      "The P1 meter", CP1Extender::SPeriods{.silence = CP1Extender::kSilence});
    Follow(*mExtender);
    return mExtender->Init();
  }

  std::shared_ptr<CSimulatedRs485Line> mLine = std::make_shared<CSimulatedRs485Line>(scheduler, meter);
  std::optional<CP1Extender> mExtender;
};

TEST_F(P1ExtenderTest, MeasuresWhatGoodTelegramsCarryAndIsInErrorWithoutThem) {
  ASSERT_TRUE(Init(mLine));
  EXPECT_FALSE(mExtender->HasMeasurement(EMeasureType::Current)) << "no telegram yet";
  EXPECT_EQ(Told(10s), "The P1 meter measures Current, ActivePower, Voltage");
  EXPECT_NEAR(mExtender->GetMeasurementAverage(EMeasureType::Current, 2500ms)[0], 8000, 5);
  meter.SetFate(CHouseMeter::EFate::Away);
  EXPECT_THAT(Told(29s), Not(StartsWith("in error")));
  EXPECT_EQ(Told(1min), "in error; The P1 meter cannot be read: nothing was heard of it for 30000 ms");
  EXPECT_FALSE(mExtender->HasMeasurement(EMeasureType::Current));
  meter.SetFate(CHouseMeter::EFate::Good);
  EXPECT_EQ(Told(1s), "good; The P1 meter can be read again");
  meter.SetFate(CHouseMeter::EFate::Garbled);
  EXPECT_THAT(Told(10min), MatchesRegex("in error; Checksum mismatch; .*The P1 meter cannot be read: its "
                                        "telegrams are damaged"));
  mExtender->DeInit();
  meter.SetFate(CHouseMeter::EFate::Good);
  EXPECT_EQ(Told(10min), "");
}

TEST_F(P1ExtenderTest, TellsALineThatBringsSomethingElseFromASilentOne) {
  const auto line = std::make_shared<CScriptedLine>();
  Init(line);
  for (int second = 0; second < 32; ++second) {
    line->Bring("/cut off\r\n" + std::string(400, '\xff'));
    scheduler.RunFor(1s);
  }
  EXPECT_EQ(Told(),
            "in error; The P1 meter cannot be read: what arrives holds no telegrams, is its line at 115200 "
            "baud, 8N1?");
}

TEST_F(P1ExtenderTest, TriesALineThatItCannotHaveAgain) {
  mLine->SetPresent(false);
  EXPECT_FALSE(Init(mLine));
  EXPECT_EQ(Told(), "in error; The P1 meter cannot be read: there is no serial line to it");
  scheduler.RunFor(62s);
  mLine->SetPresent(true);
  EXPECT_EQ(Told(29s), "") << "tried 61 s after, and next 91 s";
  EXPECT_THAT(Told(1s), StartsWith("good; "));
}

}  // namespace
