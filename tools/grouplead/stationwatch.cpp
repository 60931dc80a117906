#include "tools/grouplead/stationwatch.h"

#include <utility>

#include <fmt/format.h>

#include "platform/koconfig/koconfig.h"
#include "src/components/loadbalancing/loadbalancingconfig.h"
#include "tools/display/options.h"

namespace {

LbSerialNumber ReadSerialNumber(IScheduler& scheduler, IFiles& files, const std::filesystem::path& root) {
  const auto path = root / "etc" / "hwinfo.json";
  const auto hwinfo = KoConfig::CreateReadOnly(scheduler, files, path);
  // Only the board's file is read here, so it stands in for the settings and the secrets, too.
  const auto text = CLoadBalancingConfig(hwinfo, hwinfo, hwinfo).GetMainboardSn();
  const auto serialNumber = text ? ToLbSerialNumber(*text) : std::nullopt;
  if (!serialNumber) {
    throw CUsageError(fmt::format(
        "{} holds no \"MainboardSn\" such as \"12-34-ABC-DE1\": no station to watch", path.string()));
  }
  return *serialNumber;
}

}  // namespace

CStationWatch::CStationWatch(IScheduler& scheduler, IFiles& files, const std::filesystem::path& root,
                             std::unique_ptr<Rpc::ICommunicationHost> host)
    : mSerialNumber(ReadSerialNumber(scheduler, files, root)),
      mHost(std::move(host)),
      mPeer(mHost->CreateClient("CurrentControl", kPatience)),
      mCurrentControl(mPeer) {
  mPeer->ExpectAbsence(true);  // what is shown says so itself
}

std::optional<ipc::MCurrentControlLimits> CStationWatch::Limits() {
  auto answer = mCurrentControl.GetLimits({});
  return answer.IsOk() ? std::optional(std::move(answer.value)) : std::nullopt;
}
