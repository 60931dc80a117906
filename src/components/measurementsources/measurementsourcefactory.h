#pragma once

#include <filesystem>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include <json/value.h>

#include "platform/utility/files.h"
#include "platform/worker/scheduler.h"
#include "src/components/measurementsources/ctplausibility.h"
#include "src/components/measurementsources/homewizard.h"
#include "src/components/measurementsources/measurement.h"
#include "src/components/measurementsources/meteraccess.h"
#include "src/components/measurementsources/modbusmetermodels.h"

class CCurrentControlConfig;
class CDiagnosticsSignal;

/// Makes measurement sources, one for all who ask for the same. One thread at a time.
class CMeasurementSourceFactory {
 public:
  /// The station's serial line, below the root.
  static constexpr auto kSerialLine = "dev/ttymxc4";
  /// Whether sources of that type have the serial line to themselves.
  static bool UsesSerialLine(std::string_view type);

  struct SDependencies {
    IScheduler& scheduler;
    IFiles& files;
    std::filesystem::path root;  ///< of the station's devices and dumps
    std::shared_ptr<CCurrentControlConfig> config;
    SMeterAccess access;
    StationMeter stationMeter;
    CCtPlausibility::Signals implausibleCt;
    std::shared_ptr<CDiagnosticsSignal> p1Version;
    CHomeWizard::StoreHandler storeHomeWizard;
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
  std::shared_ptr<IMeasurementSource> MakeCt(const Json::Value& parameters) const;
  std::shared_ptr<IMeasurementSource> MakeP1Extender() const;
  std::shared_ptr<IMeasurementSource> MakeHomeWizard(const Json::Value& parameters) const;
  std::shared_ptr<IMeasurementSource> MakeModbus(EModbusConnectionKind kind,
                                                 const Json::Value& parameters) const;
  /// The parameters as far as they tell one source from another.
  static Json::Value Identity(const std::string& type, const Json::Value& parameters);

  const SDependencies mDependencies;
  std::vector<SMade> mMade;
};
