#include "simulation/chiptree.h"

#include <system_error>

#include "platform/log/log.h"
#include "src/components/measurementsources/ade7854attributes.h"

namespace {

using namespace Hal::Ade7854;
using SConfiguration = CMeteringChip::SConfiguration;

/// `visit` gets each attribute that the daemon writes, and where its content stands.
template <class TVisit>
void VisitConfiguration(SConfiguration& configuration, const TVisit& visit) {
  for (std::size_t i = 0; i < kPhases.size(); ++i) {
    CMeteringChip::SPhase& phase = configuration.phases[i];
    visit(kPhases[i].currentGain, phase.currentGain);
    visit(kPhases[i].voltageGain, phase.voltageGain);
    visit(kPhases[i].voltageRmsOffset, phase.voltageRmsOffset);
    visit(kPhases[i].currentRmsOffset, phase.currentRmsOffset);
  }
  visit(kPgaGain, configuration.pgaCodes);
  visit(kRun, configuration.run);
}

}  // namespace

CChipTree::CChipTree(IScheduler& scheduler, CMeteringChip& chip, const std::filesystem::path& root)
    : mChip(chip),
      mFolder(root / kFolder),
      mNewFolder(mFolder.string() + ".new"),
      mWorker(scheduler, "Chip") {}

void CChipTree::Start() {
  mWorker.Start();
  mTicking = mWorker.AddCall([this] { Tick(); }, Milliseconds{0}, kPeriod);
}

void CChipTree::Stop() {
  mWorker.Stop();
  Remove();
}

void CChipTree::Tick() {
  try {
    if (!mChip.IsPresent()) return Remove();
    if (mFiles.empty()) return Create();
    const bool reset = TakeReset();
    TakeConfiguration();
    // Who resets the chip is about to configure it, and what he writes now must not be written over.
    if (!reset) ShowConfiguration();
    ShowReadings();
    mFailing = false;
  } catch (const std::system_error& error) {  // also filesystem_error
    if (!mFailing) LOG_ERROR("The metering chip cannot be shown in {}: {}", mFolder.string(), error.what());
    mFailing = true;
    mFiles.clear();
  }
}

void CChipTree::Create() {
  Remove();  // also what was left by a process that was killed
  std::filesystem::create_directories(mNewFolder);
  Put(kReset, 0);
  ShowConfiguration();
  ShowReadings();
  std::filesystem::rename(mNewFolder, mFolder);
}

/// Only what could be its own, and not behind a link: nobody knows what else a root holds.
void CChipTree::Remove() {
  mFiles.clear();
  for (const auto& folder : {mFolder, mNewFolder}) {
    std::error_code ignored;
    if (!std::filesystem::is_directory(std::filesystem::symlink_status(folder, ignored))) continue;
    const auto remove = [&](std::string_view name) { std::filesystem::remove(folder / name, ignored); };
    SConfiguration any;
    VisitConfiguration(any, [&](std::string_view name, const std::uint32_t&) { remove(name); });
    for (const SPhaseAttributes& phase : kPhases) remove(phase.currentRms);
    remove(kReset);
    std::filesystem::remove(folder, ignored);
  }
}

bool CChipTree::TakeReset() {
  CRegisterFile& file = mFiles.at(kReset);
  const bool reset = file.Take().value_or(0) != 0;
  if (reset) mChip.Reset();
  file.Show(0);
  return reset;
}

void CChipTree::TakeConfiguration() {
  auto configuration = mChip.Configuration();
  if (!configuration) return;
  bool taken = false;
  VisitConfiguration(*configuration, [&](std::string_view name, std::uint32_t& content) {
    if (const auto value = mFiles.at(name).Take()) {
      content = *value & kRegisterMask;
      taken = true;
    }
  });
  if (taken) mChip.Configure(*configuration);
}

void CChipTree::ShowConfiguration() {
  auto configuration = mChip.Configuration();
  if (!configuration) return;
  VisitConfiguration(*configuration,
                     [this](std::string_view name, const std::uint32_t& content) { Put(name, content); });
}

void CChipTree::ShowReadings() {
  const auto readings = mChip.ReadCurrentRms();
  if (!readings) return;
  for (std::size_t i = 0; i < kPhases.size(); ++i) Put(kPhases[i].currentRms, (*readings)[i]);
}

void CChipTree::Put(std::string_view attribute, std::uint32_t value) {
  const auto found = mFiles.find(attribute);
  if (found != mFiles.end()) return found->second.Show(value);
  mFiles.try_emplace(attribute, mNewFolder / attribute, value);
}
