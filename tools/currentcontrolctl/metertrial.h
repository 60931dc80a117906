#pragma once

#include <atomic>
#include <memory>
#include <string>
#include <vector>

#include <json/value.h>

#include "platform/diagnostics/diagnosticscommclient.h"
#include "platform/log/logcapture.h"
#include "platform/worker/worker.h"
#include "src/components/currentcontrolconfig.h"
#include "src/components/measurementsources/measurementsourcefactory.h"
#include "src/components/measurementsources/meterreading.h"
#include "tools/currentcontrolctl/session.h"

/// A meter read once in the way in which the service below that root would read it. Stores no setting. One
/// thread.
class CMeterTrial {
 public:
  /// `parameters` as the settings hold them.
  CMeterTrial(CSession& session, std::string type, Json::Value parameters);

  /// Waits for a reading, at most so long or until the session is told to stop. Sets the session's stop.
  /// False: there is none.
  bool Read(Milliseconds wait);

  const SMeterReading& Reading() const { return mReading; }
  /// The ones with which it was read: with its address when the meter had to be looked for.
  const Json::Value& Parameters() const { return mParameters; }
  /// What the log had to say about a meter that could not be read; on a terminal that was shown already.
  std::vector<std::string> Reasons() const;
  /// Why the newest attempt to read it failed, which is no reason yet while the next may succeed. Or empty.
  std::string NewestFailure() const;

 private:
  CMeasurementSourceFactory::SDependencies Dependencies();
  void Know(const Json::Value& found);
  void Look();
  void ShowNewReasons();
  bool Take();

  CSession& mSession;
  const std::string mType;
  Json::Value mParameters;  // used on the source's worker, or while it stands still
  CLogCapture mLog{Log::ELogLevel::Debug};
  const std::shared_ptr<CCurrentControlConfig> mConfig;
  const std::shared_ptr<CDiagnosticsCommClient> mDiagnostics;  // never started: nobody is told
  CMeasurementSourceFactory mFactory;
  const std::shared_ptr<IMeasurementSource> mSource;
  std::atomic<bool> mIsInError{false};
  // Used on the worker, or while it stands still.
  TimePoint mTrustedFrom;
  bool mHasSeen = false;
  std::size_t mShown = 0;  // of the log's lines
  SMeterReading mReading;
  bool mIsRead = false;
  CWorker mWorker;
};
