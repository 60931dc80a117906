#pragma once

#include <array>
#include <cstdint>
#include <functional>
#include <memory>

#include <json/value.h>

#include "platform/worker/virtualscheduler.h"
#include "simulation/hearing.h"
#include "simulation/vehicle.h"
#include "src/components/loadbalancing/groupaccess.h"
#include "src/components/loadbalancing/lbgroupview.h"

/// One station of a group in virtual time, with the vehicle at it. It begins without power and without a
/// vehicle. One thread.
class IGroupStation {
 public:
  virtual ~IGroupStation() = default;

  /// Starts what runs on the station; nobody has told it anything yet.
  virtual void PowerOn() = 0;
  /// Ends it without a farewell. The vehicle stays plugged in, and gets nothing.
  virtual void PowerOff() = 0;

  /// A vehicle comes, and draws as soon as it may. One that is there becomes like this.
  virtual void Plug(const CVehicle::SProperties& vehicle) = 0;
  virtual void Unplug() = 0;
  /// It has had enough, or wants more again.
  virtual void SetFull(bool full) = 0;

  /// What the house connection carries besides this station, in mA on R, S and T; negative: it comes
  /// from there. Only a station whose meter watches the main fuse cares.
  virtual void SetHouse(const std::array<std::int32_t, 3>& milliAmpere) = 0;
  /// Changes keys of settings.json as another process would; those that are null go.
  virtual void ChangeSettings(const Json::Value& values) = 0;

  /// The group's limit that is in force, in mA; 0 without power.
  virtual std::uint32_t LimitMilliAmpere() const = 0;
  /// What the vehicle draws by now on R, S and T.
  virtual LbPhaseCurrents Drawn() const = 0;
  /// The group as it sees it; only with power.
  virtual SLbGroupView Describe() = 0;
};

/// What a station of a group is made of.
struct SGroupPlace {
  std::shared_ptr<CVirtualScheduler> scheduler;
  SGroupAccess access;       ///< its way to the others, which may be taken again after each power-off
  MediumStation number = 1;  ///< among them
  // What of these files the group needs.
  Json::Value settings;
  Json::Value hwinfo;
  Json::Value secrets;
  /// The rating of the main fuse that the station's meter watches for the group, in A; 0: it watches none.
  std::uint32_t fuseAmpere = 0;
  /// To be called when the limit that is in force has changed, at that moment.
  std::function<void()> onLimit;
};

using GroupStationCreator = std::function<std::unique_ptr<IGroupStation>(SGroupPlace place)>;
