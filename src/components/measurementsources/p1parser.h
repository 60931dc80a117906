#pragma once

#include <bitset>
#include <cstdint>
#include <filesystem>
#include <memory>

#include "platform/diagnostics/diagnosticssignal.h"
#include "platform/utility/files.h"
#include "platform/utility/mutex.h"
#include "src/components/measurementsources/ip1parser.h"
#include "src/components/measurementsources/p1telegram.h"

/// Parses telegrams, keeps what the last one held and reports the version of the meter's P1 protocol.
///
/// What is wrong with telegrams is an error line the first time, and that one carries no active power a
/// warning; the same again is for debugging only, until `kGoodInARow` telegrams in a row were without fault.
/// So a noisy line says what it suffers from without filling the log.
class CP1Parser final : public IP1Parser {
 public:
  /// One minute's telegrams of most meters.
  static constexpr std::uint32_t kGoodInARow = 60;

  /// The files must outlive the parser. Without a signal nobody is told the version.
  CP1Parser(IFiles& files, std::filesystem::path dumpFile, std::shared_ptr<CDiagnosticsSignal> version);
  /// The version is "Unknown" from now on.
  ~CP1Parser() override;

  SP1Output Parse(const std::uint8_t* data, std::size_t length) override EXCLUDES(mRecordMutex);
  void DumpLastReceivedData() override EXCLUDES(mRecordMutex);

 private:
  /// What was told stands under its failure's number, that there is no power under the one of none.
  using Told = std::bitset<P1::kFailureCount>;

  void TellFailure(const P1::SResult& result);
  void TellMissingPower();
  bool IsNews(P1::EFailure failure);
  void NoteFaultless();
  std::string DumpText() EXCLUDES(mRecordMutex);

  IFiles& mFiles;
  const std::filesystem::path mDumpFile;
  const std::shared_ptr<CDiagnosticsSignal> mVersion;
  CMutex mRecordMutex;
  P1::CRecord mRecord GUARDED_BY(mRecordMutex);  // of the last telegram
  Told mTold;
  std::uint32_t mFaultless = 0;  // telegrams in a row
};
