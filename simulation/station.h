#pragma once

#include <cstdint>
#include <memory>

#include "platform/rpc/communicationhost.h"
#include "platform/worker/worker.h"
#include "simulation/chargepoint.h"
#include "simulation/house.h"
#include "simulation/housemeter.h"
#include "simulation/meteringchip.h"
#include "simulation/simulatedadac.h"
#include "simulation/simulatedbasiccharge.h"
#include "simulation/simulateddiagnostics.h"
#include "simulation/simulatedmeter.h"
#include "simulation/simulatednetm.h"
#include "simulation/simulatedsafetymcucomm.h"

/// The services, the vehicle and the house that surround current control in a charging station. Runs in
/// virtual time over an in-process host as well as in real time over a real one.
class CStation {
 public:
  /// How often the meter measures. The charging state is told before a current that begins is measured.
  static constexpr Milliseconds kMeterPeriod{1000};

  /// Registers every service with the host, which its owner starts, and stops before the station goes.
  CStation(IScheduler& scheduler, Rpc::ICommunicationHost& host);

  /// Begins to measure.
  void Start();
  void Stop();

  /// Lets a vehicle be plugged in with a loose cable of this rating, and unplugged with it. At a station with
  /// a fixed cable vehicles come and go at the charge point alone. From the start on a cable of 32 A is
  /// there.
  void PlugCable(ipc::EPpState rating);
  void PullCable();

  CChargePoint& ChargePoint() { return mChargePoint; }
  CHouse& House() { return mHouse; }
  CMeteringChip& Chip() { return mChip; }
  /// The one at the house connection, whoever reads it and how.
  CHouseMeter& Meter() { return mHouseMeter; }
  CSimulatedAdac& Adac() { return *mAdac; }
  CSimulatedNetM& NetM() { return *mNetM; }
  CSimulatedSafetyMcuComm& SafetyMcuComm() { return *mSafetyMcuComm; }
  CSimulatedBasicCharge& BasicCharge() { return *mBasicCharge; }
  /// The station's own.
  CSimulatedMeter& StationMeter() { return *mMeter; }
  CSimulatedDiagnostics& Diagnostics() { return *mDiagnostics; }

 private:
  void Beat();
  void Look();
  void Follow(const CChargePoint::SView& view);
  void Watch();

  CChargePoint mChargePoint;
  CHouse mHouse;
  CMeteringChip mChip;
  CHouseMeter mHouseMeter;
  const std::shared_ptr<CSimulatedAdac> mAdac = std::make_shared<CSimulatedAdac>();
  const std::shared_ptr<CSimulatedNetM> mNetM = std::make_shared<CSimulatedNetM>();
  const std::shared_ptr<CSimulatedSafetyMcuComm> mSafetyMcuComm = std::make_shared<CSimulatedSafetyMcuComm>();
  const std::shared_ptr<CSimulatedBasicCharge> mBasicCharge;
  const std::shared_ptr<CSimulatedMeter> mMeter = std::make_shared<CSimulatedMeter>();
  const std::shared_ptr<CSimulatedDiagnostics> mDiagnostics = std::make_shared<CSimulatedDiagnostics>();
  const IClock& mClock;
  TimePoint mBegin;
  CCallHandle mBeating;
  // Bound to the worker.
  CCallHandle mWatching;
  bool mIsWatching = false;
  CWorker mWorker;
};
