#pragma once

#include <utility>

#include "src/components/measurementsources/measurement.h"

/// A meter of the house's power and voltage that shows what it is told to.
class CScriptedSource final : public IMeasurementSource {
 public:
  bool Init() override { return true; }
  void DeInit() override {}
  ThreePhaseValue GetMeasurementAverage(EMeasureType type, Milliseconds span) override {
    if (span != kSamplingPeriod) return {};
    return type == EMeasureType::Voltage ? mVolt : mWatt;
  }
  ThreePhaseValue GetMeasurements(EMeasureType) override { return {}; }
  void RegisterErrorHandler(ErrorHandler handler) override { mHandler = std::move(handler); }
  bool HasMeasurement(EMeasureType type) const override {
    return type == EMeasureType::Voltage ? mHasVolt : type == EMeasureType::ActivePower && mHasPower;
  }
  void DumpLastReceivedData() override { ++mDumps; }

  ThreePhaseValue mWatt{}, mVolt{230, 0, 0};
  bool mHasPower = true, mHasVolt = true;
  int mDumps = 0;
  ErrorHandler mHandler;
};
