#pragma once

#include <filesystem>
#include <map>
#include <string_view>

#include "platform/worker/worker.h"
#include "simulation/meteringchip.h"
#include "simulation/registerfile.h"

/// The metering chip as the folder of attributes that the daemon knows: shows its registers and takes what
/// the daemon writes, a little later than a kernel would. So there is no checksum: who reads it after
/// configuring the chip would get the one from before. The folder is there, whole, while the chip is.
/// `Start` and `Stop` one at a time.
class CChipTree {
 public:
  static constexpr Milliseconds kPeriod{100};

  CChipTree(IScheduler& scheduler, CMeteringChip& chip, const std::filesystem::path& root);
  ~CChipTree() { Stop(); }
  CChipTree(const CChipTree&) = delete;
  CChipTree& operator=(const CChipTree&) = delete;

  void Start();
  /// The folder is gone then.
  void Stop();

 private:
  void Tick();
  void Create();
  void Remove();
  bool TakeReset();
  void TakeConfiguration();
  void ShowConfiguration();
  void ShowReadings();
  void Put(std::string_view attribute, std::uint32_t value);

  CMeteringChip& mChip;
  const std::filesystem::path mFolder;
  const std::filesystem::path mNewFolder;  // until it is whole
  // Bound to the worker.
  std::map<std::string_view, CRegisterFile> mFiles;
  bool mFailing = false;
  CCallHandle mTicking;
  CWorker mWorker;
};
