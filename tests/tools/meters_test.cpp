#include <filesystem>

#include <fmt/format.h>
#include <gmock/gmock.h>
#include <unistd.h>

#include "simulation/simulatedctmeter.h"
#include "simulation/simulatedhomewizard.h"
#include "simulation/simulatedmodbus.h"
#include "simulation/simulatedrs485line.h"
#include "support/p1text.h"
#include "tools/ctltest.h"
#include "tools/fakeservice.h"

namespace {

using testing::HasSubstr;
using testing::StartsWith;

const std::string kTelegram =
    Sealed(
        "/SYN5\\METER\r\n\r\n1-3:0.2.8(50)\r\n0-0:1.0.0(240115120000W)\r\n1-0:21.7.0(00.000*kW)\r\n"
        "1-0:22.7.0(01.500*kW)\r\n1-0:32.7.0(230.0*V)\r\n1-0:1.7.0(00.000*kW)\r\n1-0:2.7.0(01.500*kW)\r\n!") +
    "\r\n";

class MetersTest : public CCtlTest {
 protected:
  SOutcome Decode(std::string recording, bool json = false) {
    mIn = std::istringstream(std::move(recording));
    return Run({"p1", "-"}, json);
  }
};

TEST_F(MetersTest, ShowsATelegramsFieldsAndWhatTheServiceMakesOfThem) {
  const SOutcome outcome = Decode(kTelegram);
  EXPECT_EQ(outcome.exit, 0);
  EXPECT_EQ(outcome.out,
            "telegram at byte 0, /SYN5\\METER: good\n"
            "  p1_version          1-3:0.2.8                 50\n"
            "  power_delivered_l1  1-0:21.7.0          0.000 kW\n"
            "  power_returned_l1   1-0:22.7.0          1.500 kW\n"
            "  voltage_l1          1-0:32.7.0         230.000 V\n"
            "  power_delivered     1-0:1.7.0           0.000 kW\n"
            "  power_returned      1-0:2.7.0           1.500 kW\n"
            "  1 other line skipped\n"
            "what the service makes of it (currents are negative where a phase feeds in):\n"
            "                      L1          L2          L3\n"
            "current         -6.521 A     0.000 A     0.000 A\n"
            "voltage            230 V         0 V         0 V\n"
            "total power      -1500 W  (fed in)\n");
  EXPECT_THAT(Decode(kTelegram, true).out,
              HasSubstr(R"("reading":{"current_milliampere":[-6521,0,0],"total_power_watt":-1500,)"
                        R"("voltage_volt":[230,0,0]},"skipped_lines":1)"));
  EXPECT_THAT(Decode(Telegram("1-0:32.7.0(230.0*V)")).out,
              HasSubstr("no total power: 1-0:1.7.0 and 1-0:2.7.0 are needed"));
}

TEST_F(MetersTest, ShowsWhereATelegramIsBadAndGuessesWhy) {
  std::string lineFeedsOnly = kTelegram;
  std::erase(lineFeedsOnly, '\r');
  std::string changed = kTelegram;
  changed[20] = '2';
  std::string parity = changed;
  parity[21] = '\xB1';
  const std::pair<std::string, std::string> kCases[] = {
      {"", "Data should start with /, at byte 0 (line 1, column 1)\nhint: a telegram begins with / and"},
      {kTelegram.substr(0, 50),
       "No checksum found, at byte 50 (line 4, column 21)\n  0-0:1.0.0(2401151200\n"
       "                      ^\nhint: the telegram was cut off"},
      {"/S\r\n!\r\n", "No checksum found, at byte 7 (line 3, column 1)\nhint: meters before DSMR 4 send no"},
      {"/S\r\n!1AG3\r\n",
       "Incomplete or malformed checksum, at byte 7 (line 2, column 4)\n  !1AG3\n     ^\n"},
      {Telegram("1-0:32.7.0(230.0*kV)"),
       "Invalid unit, at byte 23 (line 3, column 18)\n  1-0:32.7.0(230.0*kV)\n                   ^\n"
       "hint: the checksum is right: the meter itself has sent this\n"},
      {changed, "): given is 502A, computed 151A\n  !502A\n   ^\nhint: a byte was changed"},
      {parity, "hint: some bytes have their highest bit set"},
      {lineFeedsOnly,
       "hint: the lines end with LF alone; with CR LF, as meters send them, the checksum would be"}};
  for (const auto& [telegram, explanation] : kCases) {
    const SOutcome outcome = Decode(telegram);
    EXPECT_EQ(outcome.exit, 1);
    EXPECT_THAT(outcome.out, HasSubstr(explanation));
  }
  EXPECT_THAT(Decode(changed, true).out,
              HasSubstr(R"("failure":"Checksum mismatch","given_checksum":"502A")"));
  const SOutcome none = Run({"p1", "/none"});
  EXPECT_EQ(none.exit, 2);
  EXPECT_EQ(none.err, "currentcontrolctl: cannot read /none: No such file or directory\n");
}

TEST_F(MetersTest, TakesEachTelegramOfARecording) {
  // It begins in the middle of one, the second is cut off by the third, and noise stands before the last.
  mFiles.Write("/r",
               "kW)\r\n!12AB\r\n" + kTelegram + kTelegram.substr(0, 40) + kTelegram + "\xFF" + kTelegram);
  const SOutcome outcome = Run({"p1", "/r"});
  EXPECT_EQ(outcome.exit, 1);
  EXPECT_THAT(outcome.out, StartsWith("telegram at byte 12, /SYN5\\METER: good\n"));
  EXPECT_THAT(outcome.out, HasSubstr("telegram at byte 186, /SYN5\\METER: No checksum found, at byte 226"));
  EXPECT_THAT(outcome.out, testing::EndsWith("3 of 4 telegrams good; 9 bytes between them skipped\n"));

  const std::string slashes(1U << 20U, '/');
  EXPECT_THAT(
      Decode("\n" + slashes + kTelegram).out,
      testing::AllOf(HasSubstr("at byte 101 (line 2, column 101)"),
                     HasSubstr("\n1048476 more bad telegrams are not shown\n1 of 1048577 telegrams good")));
  EXPECT_THAT(Decode(slashes, true).out, HasSubstr("\"bad_left_out\":1048476,"));
  EXPECT_THAT(
      Decode(Telegram("1-0:1.0.0(" + std::string(9000, '0') + ")")).out,
      StartsWith("telegram at byte 0, /X: good\nthe service drops it all the same: it has more than 8192"));
}

TEST_F(MetersTest, ReadsTheTransformersUnlessTheServiceHasThem) {
  CMeteringChip chip([] { return CMeteringChip::Currents{16000, 8000, 0}; });
  mMeters.createCtMeter = [&chip] { return std::make_unique<CSimulatedCtMeter>(chip); };
  mFiles.Write("/root/etc/hwinfo.json", R"({"HwOneOrThreePhase": 3})");
  const std::vector<std::string> read{"meter", "CT", R"({"type": "C-CT-16"})"};
  SOutcome outcome = Run(read);
  EXPECT_EQ(outcome.exit, 0) << outcome.err;
  EXPECT_EQ(outcome.out,
            "ct {\"type\":\"C-CT-16\"}\n"
            "                      L1          L2          L3\n"
            "current         16.000 A     8.000 A     0.000 A\n"
            "in settings.json: \"BopSource\": \"ct\", \"CurrentCtrlBopCtType\": \"C-CT-16\"\n");

  chip.Vanish();
  outcome = Run(read);
  EXPECT_EQ(outcome.exit, 1);
  EXPECT_EQ(outcome.err,
            "currentcontrolctl: ct cannot be read:\n  No metering chip: the metering chip is away\n"
            "  Ade7854 Initialization failed\n");

  CFakeService::Offer(std::make_shared<CFakeService>(), mHost);
  chip.Return();
  outcome = Run(read);
  EXPECT_EQ(outcome.exit, 1);
  EXPECT_EQ(outcome.err,
            "currentcontrolctl: the service that runs below /root may be using the metering chip; let it end "
            "first\n");
  EXPECT_EQ(chip.Configuration()->run, 0U);
}

TEST_F(MetersTest, LeavesTheStationsLineToTheService) {
  CFakeService::Offer(std::make_shared<CFakeService>(), mHost);
  const auto link = std::filesystem::temp_directory_path() / fmt::format("meters_test{}", ::getpid());
  std::filesystem::create_directory_symlink("/", link);
  const std::pair<std::string, bool> kDevices[] = {
      {R"("stopBits": 1)", true},
      {R"("device": "")", true},
      {R"("Device": "/root/dev/../dev/ttymxc4")", true},
      {R"("device": ")" + link.string() + R"(/root/dev/ttymxc4")", true},
      {R"("DEVICE": "/dev/ttymxc4")", false},
      {R"("device": "ttymxc4")", false}};
  for (const auto& [device, isLeft] : kDevices) {
    const SOutcome outcome = Run({"meter", "modbusrtu", R"({"type": "abb_b23", )" + device + "}"});
    EXPECT_EQ(outcome.exit, 1);
    EXPECT_EQ(outcome.err.find("may be using the serial line") != std::string::npos, isLeft) << outcome.err;
  }
  std::filesystem::remove(link);
}

TEST_F(MetersTest, ReadsAMeterInTheWayOfItsTypeAndStoresNothing) {
  CChargePoint chargePoint(mScheduler);
  CHouse house(mScheduler, chargePoint);
  CHouseMeter meter(mScheduler, house);
  house.SetLoads({10000, 5000, 0});
  mMeters.createRs485 = [&](const SRs485Line& line) {
    EXPECT_EQ(line.path, "/root/dev/ttymxc4");
    return std::make_shared<CSimulatedRs485Line>(mScheduler, meter);
  };
  CModbusUnit unit(meter, *FindModbusMeterModel("siemens_pac2200"));
  mMeters.modbus = std::make_shared<CSimulatedModbus>(unit);
  CSimulatedHomeWizard network(mScheduler);
  network.Place({.address = "10.0.0.7"}, meter);
  mMeters.createHttpClient = network.Clients();
  mMeters.discovery = {std::shared_ptr<void>(), &network};
  const std::string settings = R"({"BopSource": "homewizard", "BopSourceParameters": "{\"address\": \"\"}"})";
  mFiles.Write("/root/etc/settings.json", settings);

  const std::vector<std::string> kMeters[] = {{"meter", "p1extender"},
                                              {"meter", "homewizard", R"({"address": ""})"},
                                              {"meter", "modbusrtu", R"({"type": "siemens_pac2200"})"}};
  for (const auto& words : kMeters) {
    const SOutcome outcome = Run(words);
    EXPECT_EQ(outcome.exit, 0) << outcome.err;
    EXPECT_THAT(outcome.out,
                testing::ContainsRegex("\ncurrent +(10.0|9.9).. A +(5.0|4.9).. A +0.000 A\nvoltage +23. V"));
  }
  EXPECT_THAT(Run(kMeters[1], true).out,
              HasSubstr(R"("parameters":{"address":"10.0.0.7:80","serial":"3c39e7001122"})"));
  EXPECT_EQ(mFiles.Content("/root/etc/settings.json"), settings);

  meter.SetFate(CHouseMeter::EFate::Away);
  const TimePoint begin = mScheduler.Now();
  EXPECT_EQ(Run(kMeters[0]).err, "currentcontrolctl: p1extender cannot be read: no reading within 15 s\n");
  EXPECT_EQ(mScheduler.Now() - begin, std::chrono::seconds(15));
  EXPECT_THAT(Run(kMeters[2]).err,
              HasSubstr("siemens_pac2200 on /root/dev/ttymxc4, unit 126 cannot be read: "));
  mWait = std::chrono::seconds(2);
  EXPECT_THAT(Run(kMeters[2]).err,
              HasSubstr("modbusrtu cannot be read: no reading within 2 s; Modbus meter siemens_pac2200 on "
                        "/root/dev/ttymxc4, unit 126: "));
}

}  // namespace
