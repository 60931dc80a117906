#pragma once

#include <optional>
#include <string_view>

#include "src/rpc/clients/stationmeter.h"

/// Reads the station's meter for a component and tells once that it fell silent, and once that it is back.
/// One thread.
class CStationMeterWatch {
 public:
  /// What that means to the component; literals.
  struct STexts {
    std::string_view silent;
    std::string_view back;
  };

  /// A station without a meter, an empty `meter`, is silent.
  CStationMeterWatch(StationMeter meter, STexts texts);

  std::optional<SStationMeterData> Read();

 private:
  const StationMeter mMeter;
  const STexts mTexts;
  bool mIsSilent = false;
};
