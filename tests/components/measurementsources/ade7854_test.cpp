#include "src/components/measurementsources/ade7854.h"

#include <fstream>
#include <iterator>
#include <map>

#include <fmt/core.h>
#include <gmock/gmock.h>

#include "platform/log/logcapture.h"

namespace {

namespace fs = std::filesystem;
using Log::ELogLevel::Error;
using Log::ELogLevel::Info;
using testing::ElementsAre;
using testing::IsEmpty;
using Calibrations = std::vector<ICtMeter::SCalibration>;
using Gains = std::vector<std::uint16_t>;

/// A board whose driver is a folder of plain files.
class Ade7854Test : public testing::Test {
 protected:
  Ade7854Test() {
    std::string pattern = (fs::temp_directory_path() / "ade7854.XXXXXX").string();
    root = ::mkdtemp(pattern.data());
    folder = root / "var/sysfs-links/bop";
    CreateTree();
  }
  ~Ade7854Test() override { fs::remove_all(root); }

  void CreateTree() const {
    fs::create_directories(folder);
    for (const char phase : {'a', 'b', 'c'}) {
      for (const auto* name : {"irms", "igain", "vgain", "irmsos", "vrmsos"})
        Put(phase + std::string(name), "0");
    }
    for (const auto* name : {"gain", "run", "reset"}) Put(name, "0");
    Put("chksum", "1000");
  }
  void Put(std::string_view name, std::string_view content) const {
    std::ofstream(folder / name) << content << '\n';
  }
  std::string Get(std::string_view name) const {
    std::ifstream file(folder / name);
    return {std::istreambuf_iterator<char>(file), {}};
  }
  std::string Path(std::string_view name) const { return (folder / name).string(); }
  void ExpectNoChip(const testing::Matcher<std::string>& reason) const {
    EXPECT_THAT([this] { Hal::CAde7854 chip(root); }, testing::ThrowsMessage<Hal::MeterException>(reason));
  }

  fs::path root;
  fs::path folder;
  CLogCapture log{Info};
  const Calibrations threePhases{{-1, 0, 0, 100}, {4194304, 0, 0, -8388608}, {8388607, 0, 0, 0}};
};

TEST_F(Ade7854Test, ConfiguresAndStartsTheChipAndReadsAllPhases) {
  Hal::CAde7854 chip(root);
  EXPECT_FALSE(chip.IsRunning());
  ASSERT_TRUE(chip.Initialize(Calibrations{{-1, 7, -7, 100}, {4194304, 0, 0, -8388608}, {8388607, 0, 0, 0}},
                              Gains{2, 16, 4}));
  const std::map<std::string, std::string> contents{
      {"aigain", "16777215\n"}, {"avgain", "7\n"}, {"avrmsos", "16777209\n"}, {"airmsos", "100\n"},
      {"bigain", "4194304\n"},  {"bvgain", "0\n"}, {"bvrmsos", "0\n"},        {"birmsos", "8388608\n"},
      {"cigain", "8388607\n"},  {"reset", "1\n"},  {"gain", "161\n"},         {"run", "1\n"}};
  for (const auto& [name, content] : contents) EXPECT_EQ(Get(name), content) << name;
  EXPECT_TRUE(chip.IsRunning());
  ASSERT_TRUE(chip.Initialize(Calibrations{{1, 0, 0, 2}}, Gains{1}));
  EXPECT_EQ(Get("bigain"), "4194304\n") << "left alone";
  EXPECT_THAT(log.Texts(Error), IsEmpty());
  Put("birms", "16777216");
  Put("cirms", "4294967295");
  EXPECT_THAT(chip.ReadCurrentRms().value(), ElementsAre(0U, 16777216U, 4294967295U));
}

TEST_F(Ade7854Test, NoticesThatTheChipWasReset) {
  Hal::CAde7854 chip(root);
  const struct {
    const char *name, *changed, *reason;
  } cases[] = {{"run", "0", "it reads 0 instead of 1"},
               {"cigain", "0", "it reads 0 instead of 8388607"},
               {"gain", "0", "it reads 0 instead of 1"},
               {"chksum", "72108280", "it reads 72108280 instead of 1000"},
               {"aigain", "no", "it holds no number: \"no\""},
               {"cirms", "", "it is empty"}};
  for (const auto& one : cases) {
    ASSERT_TRUE(chip.Initialize(threePhases, Gains{2}));
    EXPECT_TRUE(chip.IsRunning());
    log.Clear();
    Put(one.name, one.changed);
    for (int look = 0; look < 2; ++look) EXPECT_FALSE(chip.IsRunning());
    EXPECT_THAT(log.Texts(Info), ElementsAre(fmt::format("Metering chip does not run as configured: {}: {}",
                                                         Path(one.name), one.reason)));
    CreateTree();
  }
  ASSERT_TRUE(chip.Initialize(threePhases, Gains{2}));
  Put("aigain", "4294967295");  // -1 with its sign carried on
  EXPECT_TRUE(chip.IsRunning());
}

TEST_F(Ade7854Test, RefusesAConfigurationThatTheChipCannotTake) {
  Hal::CAde7854 chip(root);
  const struct {
    Calibrations calibrations;
    Gains gains;
    const char* reason;
  } cases[] = {
      {{{}, {}}, {1}, "calibrations of 2 phases given, not 1 or 3"},
      {{{}}, {}, "0 PGA gains given, not 1 to 3"},
      {{{}}, {1, 1, 1, 1}, "4 PGA gains given, not 1 to 3"},
      {{{}}, {1, 3}, "no such PGA gain: 3"},
      {{{}}, {0}, "no such PGA gain: 0"},
      {{{}}, {32}, "no such PGA gain: 32"},
      {{{}, {8388608, 0, 0, 0}, {}}, {1}, "the current gain 8388608 of phase 2 does not fit into 24 bits"},
      {{{0, 0, 0, -8388609}}, {1}, "the current RMS offset -8388609 of phase 1 does not fit into 24 bits"},
  };
  for (const auto& one : cases) {
    for (int attempt = 0; attempt < 2; ++attempt) EXPECT_FALSE(chip.Initialize(one.calibrations, one.gains));
    EXPECT_EQ(log.Count(fmt::format("Metering chip cannot be initialised: {}", one.reason)), 1);
    EXPECT_EQ(Get("reset"), "0\n");
  }
}

TEST_F(Ade7854Test, NamesWhatIsMissing) {
  for (const auto* name : {"birms", "cigain", "airmsos", "gain", "run"}) {
    fs::remove(folder / name);
    ExpectNoChip(Path(name) + ": open: No such file or directory");
    Put(name, "0");
  }
  for (const auto* name : {"reset", "chksum"}) {  // not needed, but it must be usable when there
    fs::remove(folder / name);
    fs::create_directory(folder / name);
    ExpectNoChip(testing::StartsWith(Path(name) + ": "));
    fs::remove(folder / name);
  }
  for (const auto* name : {"avgain", "bvrmsos"}) fs::remove(folder / name);
  Hal::CAde7854 chip(root);
  EXPECT_TRUE(chip.Initialize(threePhases, Gains{1}));
  EXPECT_FALSE(chip.Initialize(Calibrations{{0, 1, 0, 0}}, Gains{1}));
  EXPECT_THAT(log.Texts(Error), ElementsAre("Metering chip cannot be initialised: " + Path("avgain") +
                                            ": open: No such file or directory"));
}

TEST_F(Ade7854Test, GoesOnWithADriverThatWasLoadedAgain) {
  const auto chip = Hal::CAde7854::Creator(root.string() + "/")();
  ASSERT_TRUE(chip->Initialize(threePhases, Gains{2}));
  ASSERT_TRUE(chip->ReadCurrentRms());

  fs::remove_all(folder);
  for (int i = 0; i < 2; ++i) {
    EXPECT_FALSE(chip->ReadCurrentRms());
    EXPECT_FALSE(chip->Initialize(threePhases, Gains{2}));
  }
  EXPECT_THAT(
      log.Texts(Error),
      ElementsAre("Metering chip cannot be read: " + Path("airms") + ": it was removed or replaced",
                  "Metering chip cannot be initialised: " + folder.string() + ": there is no such folder"));

  CreateTree();
  log.Clear();
  Put("cirms", "77");
  ASSERT_TRUE(chip->Initialize(threePhases, Gains{2}));
  EXPECT_THAT(chip->ReadCurrentRms().value(), ElementsAre(0U, 0U, 77U));
  EXPECT_THAT(log.Texts(Info),
              ElementsAre("Metering chip is initialised now", "Metering chip can be read again"));
}

TEST_F(Ade7854Test, LogsOnceThatItCannotBeRead) {
  Hal::CAde7854 chip(root);
  ASSERT_TRUE(chip.Initialize(threePhases, Gains{2}));
  for (const auto* content : {"-3", "-4", "", "4294967296"}) {
    Put("birms", content);
    EXPECT_FALSE(chip.ReadCurrentRms()) << content;
  }
  EXPECT_THAT(log.Texts(Error),
              ElementsAre("Metering chip cannot be read: " + Path("birms") + ": it holds no number: \"-3\""));
  Put("birms", "3");
  Put("run", "0");
  for (int i = 0; i < 2; ++i) EXPECT_TRUE(chip.ReadCurrentRms());
  EXPECT_THAT(log.Texts(Info), ElementsAre("Metering chip can be read again"));
  Put("birms", "0");
  EXPECT_FALSE(chip.ReadCurrentRms()) << "it stands still";
  Put("run", "1");
  EXPECT_TRUE(chip.ReadCurrentRms()) << "nothing flows";
}

}  // namespace
