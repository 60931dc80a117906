#include "tools/currentcontrolsim/stationfiles.h"

#include <fmt/format.h>

#include "platform/utility/jsontext.h"
#include "simulation/metersettings.h"
#include "simulation/strictjson.h"
#include "src/components/settingskeys.h"

namespace {

/// A file that is named must be there, except for those that an installation need not have.
void Read(IFiles& files, const std::filesystem::path& path, bool isNeeded, std::string& content) {
  if (path.empty()) return;
  const SFileError error = files.Read(path, content);
  if (error.kind == SFileError::EKind::Missing && !isNeeded) return content.clear();
  if (error) throw CFileError(fmt::format("{}: {}", path.string(), error.reason));
  Json::Value object;
  const std::string fault = JsonText::ParseObject(content, object);
  if (!fault.empty()) throw CFileError(fmt::format("{}: {}", path.string(), fault));
}

std::string Overridden(const std::string& settings, const Json::Value& overrides) {
  if (overrides.empty()) return settings;
  Json::Value object(Json::objectValue);
  JsonText::ParseObject(settings, object);  // read before, or our own; a missing file is an empty one
  for (const std::string& key : overrides.getMemberNames()) {
    overrides[key].isNull() ? object.removeMember(key) : void(object[key] = overrides[key]);
  }
  return JsonText::ToFile(object);
}

}  // namespace

CVirtualStation::SFiles ReadStationFiles(IFiles& files, const SSimOptions& options,
                                         CVirtualStation::SFiles usual) {
  CVirtualStation::SFiles read = std::move(usual);
  Read(files, options.hwinfo, true, read.hwinfo);
  Read(files, options.settings, true, read.settings);
  Read(files, options.secrets, false, read.secrets);
  read.settings = Overridden(read.settings, options.overrides);
  return read;
}

CVirtualStation::SFiles UsualStationFiles() {
  constexpr auto kMeter = SettingsKeys::kModbusTcp;
  return {.hwinfo = R"({"HwMaxCurrent": 32, "HwOneOrThreePhase": 3, "HwHasPhaseSwitching": true,
                        "HwHasSocket": true, "HwHasMeter": true})",
          .settings = fmt::format(R"({{"CurrentCtrlFixedChargeCurrentLimit": 25, "CurrentCtrlBopEnable": true,
                                       "CurrentCtrlBopFuseRating": 25, "SolarChargingAllowed": true,
                                       "BopSource": "{0}", "BopSourceParameters": "{1}",
                                       "SolarChargingSource": "{0}", "SolarChargingSourceParameters": "{1}"}})",
                                  kMeter, MeterParametersInSettings(kMeter)),
          .secrets = ""};
}
