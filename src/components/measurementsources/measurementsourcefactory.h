#pragma once

#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include <json/value.h>

#include "platform/worker/scheduler.h"
#include "src/components/measurementsources/ctmeter.h"
#include "src/components/measurementsources/ctplausibility.h"
#include "src/components/measurementsources/measurement.h"

class CCurrentControlConfig;

/// Makes measurement sources, one for all who ask for the same. One thread at a time.
class CMeasurementSourceFactory {
 public:
  struct SDependencies {
    IScheduler& scheduler;
    std::shared_ptr<CCurrentControlConfig> config;
    CtMeterCreator createCtMeter;
    CCtPlausibility::MeterDataProvider meterData;  ///< of the station's own meter
    CCtPlausibility::Signals implausibleCt;
  };

  explicit CMeasurementSourceFactory(SDependencies dependencies);

  /// The source of this type, in upper or lower case, with these parameters: the same one as before while
  /// anybody holds it. Null, and an error line, for a type that there is not.
  std::shared_ptr<IMeasurementSource> Create(std::string_view type, const Json::Value& parameters);

  /// For every source that somebody holds, in the order in which they were made.
  void InitSources();
  void DeInitSources();

 private:
  struct SMade {
    std::string type;
    Json::Value parameters;
    std::weak_ptr<IMeasurementSource> source;
  };

  std::shared_ptr<IMeasurementSource> Find(std::string_view type, const Json::Value& parameters) const;
  std::shared_ptr<IMeasurementSource> Make(const std::string& type, const Json::Value& parameters) const;

  const SDependencies mDependencies;
  std::vector<SMade> mMade;
};
