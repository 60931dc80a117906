#include "tools/currentcontrolsim/reportcsv.h"

#include <iterator>
#include <string>
#include <string_view>

#include <fmt/format.h>
#include <fmt/ranges.h>

#include "tools/currentcontrolsim/momentnames.h"

namespace {

constexpr std::string_view kHeader =
    "time_s,household_l1_ma,household_l2_ma,household_l3_ma,roof_l1_ma,roof_l2_ma,roof_l3_ma,"
    "vehicle_l1_ma,vehicle_l2_ma,vehicle_l3_ma,house_l1_ma,house_l2_ma,house_l3_ma,fuse_ma,"
    "fuse_heat_percent,fuse_tripped,surplus_w,setpoint_ma,setpoint_phases,current_source,phase_source,"
    "vehicle,cable\n";

}  // namespace

void WriteCsv(std::ostream& out, const SSimulatedRun& run) {
  out << kHeader;
  std::string row;
  for (const SStationMoment& moment : run.moments) {
    row.clear();
    fmt::format_to(std::back_inserter(row), "{},{},{},{},{},{},{:.1f},{:d},{},{},{},{},{},{},{}\n",
                   moment.at.count() / 1000, fmt::join(moment.load, ","), fmt::join(moment.generation, ","),
                   fmt::join(moment.vehicle, ","), fmt::join(moment.house, ","), moment.fuseMilliAmpere,
                   100 * moment.fuseHeat, moment.hasFuseTripped, moment.surplusWatt,
                   moment.setpointMilliAmpere, moment.setpointPhases, MomentNames::OfSource(moment.source),
                   MomentNames::OfSource(moment.phaseSource),
                   MomentNames::kVehicleStates.at(static_cast<std::size_t>(moment.vehicleState)),
                   MomentNames::kCables.at(static_cast<std::size_t>(moment.cable)));
    out << row;
  }
}
