#include "tools/currentcontrolsim/dayscenario.h"

#include <algorithm>
#include <utility>

#include <fmt/format.h>

#include "platform/utility/jsontext.h"
#include "simulation/mainfuse.h"

namespace {

constexpr auto kFuseRating = "CurrentCtrlBopFuseRating";

Json::Value Parsed(const std::string& text) {
  Json::Value object(Json::objectValue);
  JsonText::ParseObject(text, object);
  return object;
}

std::uint32_t FuseAmpere(const SDayPlan& plan, const Json::Value& settings) {
  const Json::Value& rating = settings[kFuseRating];
  if (!rating.isUInt()) return plan.fuseAmpere;
  return std::clamp(rating.asUInt(), CMainFuse::kLeastAmpere, CMainFuse::kMostAmpere);
}

class CWriter {
 public:
  void Add(Milliseconds at, SScenario::Action action) { mScenario.events.push_back({at, std::move(action)}); }

  void Visit(const SDayPlan::SVisit& visit, bool hasSocket) {
    Add(visit.from,
        SScenario::SVehicleChange{.connected = {},
                                  .full = {},
                                  .maxMilliAmpere = visit.vehicle.maxMilliAmpere,
                                  .phases = visit.vehicle.phases,
                                  .reaction = visit.vehicle.reaction,
                                  .rampMilliAmperePerSecond = visit.vehicle.rampMilliAmperePerSecond,
                                  .rampDownMilliAmperePerSecond = RampDown(visit.vehicle),
                                  .excessPercent = visit.vehicle.excessPercent,
                                  .ignoresPhaseCount = visit.vehicle.ignoresPhaseCount,
                                  .inWholeAmperes = visit.vehicle.inWholeAmperes});
    Plug(visit.from, hasSocket, visit.cable);
    if (visit.full) {
      SScenario::SVehicleChange change;
      change.full = true;
      Add(*visit.full, change);
    }
    Plug(visit.until, hasSocket, std::nullopt);
  }

  void Trouble(const SDayPlan::STrouble& trouble) {
    using ETrouble = SDayPlan::ETrouble;
    using EMeter = CHouseMeter::EFate;
    using EChip = SScenario::SMeteringChip::EFate;
    const bool isMeter = trouble.what == ETrouble::MeterAway || trouble.what == ETrouble::MeterGarbled;
    if (isMeter) {
      const bool isAway = trouble.what == ETrouble::MeterAway;
      Add(trouble.from, SScenario::SMeter{isAway ? EMeter::Away : EMeter::Garbled});
      Add(trouble.until, SScenario::SMeter{EMeter::Good});
    } else if (trouble.what == ETrouble::StationMeterSilent) {
      Add(trouble.from, SScenario::SStationMeter{true});
      Add(trouble.until, SScenario::SStationMeter{false});
    } else if (trouble.what == ETrouble::TransformersReset) {
      Add(trouble.from, SScenario::SMeteringChip{EChip::Reset});
    } else {
      Add(trouble.from, SScenario::SMeteringChip{EChip::Vanish});
      Add(trouble.until, SScenario::SMeteringChip{EChip::Return});
    }
  }

  SScenario Sorted() && {
    std::ranges::stable_sort(mScenario.events, {}, &SScenario::SEvent::at);
    return std::move(mScenario);
  }

 private:
  /// Of the vehicle that was there before nothing stays.
  static std::uint32_t RampDown(const CVehicle::SProperties& vehicle) {
    return vehicle.rampDownMilliAmperePerSecond.value_or(vehicle.rampMilliAmperePerSecond);
  }

  void Plug(Milliseconds at, bool hasSocket, std::optional<ipc::EPpState> cable) {
    if (hasSocket) return Add(at, SScenario::SCable{cable});
    SScenario::SVehicleChange change;
    change.connected = cable.has_value();
    Add(at, change);
  }

  SScenario mScenario;
};

}  // namespace

SScenario ToScenario(const SDayPlan& plan, const CVirtualStation::SFiles& station, const Json::Value& kept) {
  const bool hasSocket = Parsed(station.hwinfo)["HwHasSocket"] == Json::Value(true);
  CWriter writer;
  writer.Add(Milliseconds{0}, SScenario::SHouseChange{{}, FuseAmpere(plan, Parsed(station.settings))});
  writer.Add(Milliseconds{0}, SScenario::SRoof{plan.roof, Milliseconds{0}});
  SScenario::SVehicleChange absent;
  absent.connected = false;
  writer.Add(Milliseconds{0}, hasSocket ? SScenario::Action(SScenario::SCable{}) : SScenario::Action(absent));
  for (const auto& loads : plan.loads) {
    const auto& each = loads.milliAmpere;
    writer.Add(loads.at, SScenario::SHouseChange{{each[0], each[1], each[2]}, std::nullopt});
  }
  for (const auto& visit : plan.visits) writer.Visit(visit, hasSocket);
  for (const auto& change : plan.changes) {
    Json::Value values = Parsed(fmt::format("{{{}}}", change.settings.ToJsonMembers()));
    for (const std::string& key : kept.getMemberNames()) values.removeMember(key);
    if (!values.empty()) writer.Add(change.at, SScenario::SSettings{values});
  }
  for (const auto& trouble : plan.troubles) writer.Trouble(trouble);
  return std::move(writer).Sorted();
}
