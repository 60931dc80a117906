#include "src/components/stationmeterwatch.h"

#include <utility>

#include "platform/log/log.h"

CStationMeterWatch::CStationMeterWatch(StationMeter meter, STexts texts)
    : mMeter(std::move(meter)), mTexts(texts) {}

std::optional<SStationMeterData> CStationMeterWatch::Read() {
  auto data = mMeter ? mMeter() : std::nullopt;
  if (!data && !mIsSilent) LOG_WARNING("{}", mTexts.silent);
  if (data && mIsSilent) LOG_INFO("{}", mTexts.back);
  mIsSilent = !data;
  return data;
}
