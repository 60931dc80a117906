#include "tools/grouplead/grouplead.h"

#include <sstream>

#include <gmock/gmock.h>

#include "platform/log/logcapture.h"
#include "platform/rpc/appcommunicationhost.h"
#include "platform/rpc/inprocessbackend.h"
#include "simulation/memoryfiles.h"
#include "support/groupmember.h"
#include "tools/fakeservice.h"
#include "tools/readwords.h"

namespace {

using namespace std::chrono_literals;
using testing::HasSubstr;
using testing::ThrowsMessage;

TEST(GroupLeadOptions, RefusesWhatCannotBeMeant) {
  ExpectRefusals(
      ReadGroupLeadOptions,
      {{{}, "one of --adapter NAME and --line DEVICE is needed"},
       {{"-a", "lo", "-i", "/dev/x"}, "one of --adapter NAME and --line DEVICE is needed, not both"},
       {{"-a", "lo", "-p", "s.json"}, "--adapter needs --group N"},
       {{"-a", "lo", "-g", "65536"}, "--group takes a whole number from 1 to 65535, not '65536'"},
       {{"-a", "lo", "-g", "7"}, "--adapter needs one of --secrets FILE and --plain"},
       {{"-a", "lo", "-g", "7", "-p", "s.json", "-u"},
        "--adapter needs one of --secrets FILE and --plain, not both"},
       {{"-i", "/dev/x", "-u"}, "--group, --secrets and --plain are for an --adapter"},
       {{"-i", "/dev/x"}, "on a line stations cannot be found: name them by --member or --station"},
       {{"-m", "12-34-abc-de1"}, "--member takes a serial number such as 12-34-ABC-DE1, not '12-34-abc-de1'"},
       {{"-a", "lo", "-g", "7", "-u", "-j", "-t", "5"}, "--table and --json exclude each other"},
       {{"secret"}, "'secret' is no option; --help lists them"}});
  EXPECT_EQ(ReadWords(ReadGroupLeadOptions, {"-a", "lo", "-g", "65535", "-u", "-l", "13"}).milliAmpere,
            13000U);
}

class GroupLeadTest : public testing::Test {
 protected:
  using CHost = Rpc::AppCommunicationHost<Rpc::InProcessBackend>;
  static constexpr MediumStation kFollower = 1, kLeader = 100;

  GroupLeadTest() {
    mFiles.Write("/s.json", R"({"GroupLoadBalancingPassword": "let us share"})");
    mFiles.Write("/a/etc/hwinfo.json", R"({"MainboardSn": "12-34-abc-de1"})");
    mFiles.Write("/b/etc/hwinfo.json", R"({"MainboardSn": "12-34-ABC-DE"})");
  }
  SLeaderMedium Create(const std::vector<std::string>& words) {
    return CreateLeaderMedium(ReadWords(ReadGroupLeadOptions, words), mScheduler, mFiles, mAccess);
  }
  std::unique_ptr<CStationWatch> Watch(const std::string& root) {
    return std::make_unique<CStationWatch>(
        mScheduler, mFiles, root, std::make_unique<CHost>(Rpc::InProcessBackend(mLocal), mFiles, root));
  }

  const std::vector<std::string> mNetwork{"-a", "eth0", "-g", "7", "-p", "/s.json"};
  CLogCapture mLog{Log::ELogLevel::Warning};
  CVirtualScheduler mScheduler;
  CMemoryFiles mFiles;
  CMulticastMedium mMedium{mScheduler, 1};
  const SGroupAccess mAccess{.network = mMedium.Attach(kLeader),
                             .createRandom = [] { return std::make_unique<CSeededRandom>(kLeader); }};
  const std::shared_ptr<Rpc::CInProcessNetwork> mLocal = std::make_shared<Rpc::CInProcessNetwork>(mScheduler);
  CHost mServiceHost{Rpc::InProcessBackend(mLocal), mFiles, "/a"};
  const std::unique_ptr<IEvent> mEnd = mScheduler.CreateEvent();
  std::ostringstream mOut, mJournal;
};

TEST_F(GroupLeadTest, TellsWhatHappensToAStationThatIsLedCutOffAndBack) {
  const auto service = std::make_shared<CFakeService>();
  service->limits.mutable_setpoint()->set_limit(6000);
  service->limits.mutable_setpoint()->set_number_of_phases(3);
  service->limits.set_current_source(ipc::ECurrentControlLoadBal);
  CFakeService::Offer(service, mServiceHost);
  GroupMember::CFollower follower(mScheduler, GroupMember::Network(mScheduler, mMedium, kFollower, 1),
                                  GroupMember::Parser(2));
  follower.mMeter = SStationMeterData{.milliAmpere = {9999, 0, 12040}};
  follower.mProtocol->Enable();
  CGroupLead::SSettings settings{.medium = "group 7 on eth0", .runFor = 20100ms, .tablePeriod = 10s};
  settings.leader.script = ReadLeaderScript("s", R"({"orders": [{"at": "00:00:04", "milliampere": 8050},
      {"at": "00:00:16", "milliampere": 0, "phase-discovery": true, "station": "12-34-ABC-DE1"},
      {"at": "00:00:16", "milliampere": 0, "station": "12-34-ABC-DE2"}]})");
  settings.watches.push_back(Watch("/a"));
  CGroupLead lead(mScheduler, Create(mNetwork), std::move(settings), mOut, &mJournal);
  CWorker other(mScheduler, "other");
  other.Start();
  const auto cut = other.AddCall([&] { mMedium.Split({{kLeader}}); }, 5s);
  const auto join = other.AddCall([&] { mMedium.Split({}); }, 15s);
  const auto outcome = lead.Run(*mEnd);
  EXPECT_TRUE(outcome.hasLed);
  EXPECT_THAT(outcome.neverHeard, testing::ElementsAre(*ToLbSerialNumber("12-34-ABC-DE2")));
  EXPECT_THAT(outcome.neverAnswered, testing::IsEmpty());
  EXPECT_EQ(mOut.str(),
            R"(00:00:00  12-34-ABC-DE1  led, at fe80::1%2:23068
00:00:00  12-34-ABC-DE1  is told 16.0 A
00:00:00  12-34-ABC-DE1  its own setpoint: 3 x 6.0 by Group load balancing
00:00:04  12-34-ABC-DE1  is told 8.0 A
00:00:09  12-34-ABC-DE1  silent, at fe80::1%2:23068

00:00:10, group 7 on eth0; currents in A
STATION        ADDRESS          STATE   TOLD  R  S  T  REPORT  HEARD  FALLBACK  ITS OWN SETPOINT
12-34-ABC-DE1  fe80::1%2:23068  silent  8.0   -  -  -  -       5.6 s       6.0  3 x 6.0 by Group load balancing

00:00:15  12-34-ABC-DE1  led, at fe80::1%2:23068
00:00:16  12-34-ABC-DE1  is told 0.0 A, to find phases

00:00:20, group 7 on eth0; currents in A
STATION        ADDRESS          STATE  TOLD                   R    S     T  REPORT  HEARD  FALLBACK  ITS OWN SETPOINT
12-34-ABC-DE1  fe80::1%2:23068  led    0.0, to find phases  9.9  0.0  12.0  0x81    1.6 s       6.0  3 x 6.0 by Group load balancing

)");
  EXPECT_THAT(
      mJournal.str(),
      HasSubstr(R"({"stations":[{"address":"fe80::1%2:23068","current_source":"Group load balancing",)"
                R"("drawn_milliampere":[9999,0,12040],"fallback_milliampere":6000,"heard_ms_ago":600,)"
                R"("phase_discovery":false,"report":129,"serial":"12-34-ABC-DE1",)"
                R"("setpoint_milliampere":6000,"setpoint_phases":3,"state":"led",)"
                R"("told_milliampere":16000}],"time_ms":1000})"));
}

TEST_F(GroupLeadTest, SaysWhenThereIsNobodyAndWhyItCannotLead) {
  CGroupLead::SSettings settings{.medium = "group 7 on eth0", .runFor = 1s, .json = true};
  settings.watches.push_back(Watch("/a"));
  const auto outcome =
      CGroupLead(mScheduler, Create(mNetwork), std::move(settings), mOut, nullptr).Run(*mEnd);
  EXPECT_FALSE(outcome.hasLed);
  EXPECT_THAT(outcome.neverHeard, testing::ElementsAre(*ToLbSerialNumber("12-34-ABC-DE1")));
  EXPECT_EQ(mOut.str(),
            "{\"stations\":[{\"address\":\"\",\"phase_discovery\":false,\"serial\":"
            "\"12-34-ABC-DE1\",\"state\":\"missing\"}],\"time_ms\":1000}\n");
  GroupMember::CFollower follower(mScheduler, GroupMember::Network(mScheduler, mMedium, kFollower, 1),
                                  GroupMember::Parser(2));
  follower.mProtocol->Enable();
  mMedium.SetArrivalTap([&](MediumStation to, const auto&...) {
    if (to == kLeader) mMedium.Split({{kLeader}});
  });
  const auto deaf =
      CGroupLead(mScheduler, Create(mNetwork), {.runFor = 1s}, mOut, nullptr).Run(*mScheduler.CreateEvent());
  EXPECT_FALSE(deaf.hasLed);
  EXPECT_THAT(deaf.neverAnswered, testing::ElementsAre(*ToLbSerialNumber("12-34-ABC-DE1")));
  EXPECT_THAT([&] { Watch("/b"); },
              ThrowsMessage<CUsageError>(HasSubstr("/b/etc/hwinfo.json holds no \"MainboardSn\" such as ")));
  for (const char* text : {"", "{}", R"({"GroupLoadBalancingPassword": "let us)", R"(["let us share"])"}) {
    mFiles.Write("/s.json", text);
    EXPECT_THAT(
        [&] { Create(mNetwork); },
        ThrowsMessage<CUsageError>("/s.json holds no \"GroupLoadBalancingPassword\", or an empty one"));
  }
  mFiles.Remove("/s.json");
  EXPECT_THAT([&] { Create(mNetwork); },
              ThrowsMessage<CUsageError>(HasSubstr("cannot read secrets /s.json: ")));
}

}  // namespace
