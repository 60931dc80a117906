#include "tools/stationsim/offeredmeters.h"

#include <fmt/format.h>

#include "platform/rpc/communicationhost.h"
#include "src/components/measurementsources/modbusmetermodels.h"

namespace {

using namespace SettingsKeys;

constexpr auto kLoopback = "127.0.0.1";

template <class TMeter>
void StartOrThrow(std::optional<TMeter>& meter, std::string_view type) {
  if (meter && !meter->Start()) throw Rpc::CStartError(fmt::format("no {} meter can be offered", type));
}

}  // namespace

COfferedMeters::COfferedMeters(IScheduler& scheduler, CHouseMeter& meter, const SMeterChoice& choice,
                               const std::filesystem::path& root) {
  if (choice.Has(kP1Extender)) mP1.emplace(scheduler, meter, root);
  if (choice.Has(kHomeWizard)) {
    mHomeWizard.emplace(
        scheduler, meter,
        CHomeWizardServer::SOptions{.port = choice.port, .isOnAllInterfaces = true, .device = {}});
  }
  if (!choice.Has(kModbusTcp) && !choice.Has(kModbusRtu)) return;
  mUnit.emplace(meter, *FindModbusMeterModel(choice.model));
  if (choice.Has(kModbusTcp)) mModbusTcp.emplace(*mUnit, kLoopback, choice.port);
  if (choice.Has(kModbusRtu)) mModbusRtu.emplace(*mUnit, root / CP1Pty::kDevice);
}

void COfferedMeters::Start() {
  StartOrThrow(mP1, kP1Extender);
  StartOrThrow(mHomeWizard, kHomeWizard);
  StartOrThrow(mModbusTcp, kModbusTcp);
  StartOrThrow(mModbusRtu, kModbusRtu);
}

void COfferedMeters::Stop() {
  if (mP1) mP1->Stop();
  if (mHomeWizard) mHomeWizard->Stop();
  if (mModbusTcp) mModbusTcp->Stop();
  if (mModbusRtu) mModbusRtu->Stop();
}

std::vector<COfferedMeters::SOffer> COfferedMeters::Offers() const {
  std::vector<SOffer> offers;
  if (mP1) offers.push_back({kP1Extender, "on " + mP1->Path().string()});
  if (mHomeWizard) offers.push_back({kHomeWizard, fmt::format("at {}:{}", kLoopback, mHomeWizard->Port())});
  if (mModbusTcp) {
    offers.push_back(
        {kModbusTcp, fmt::format("{} at {}:{}", mUnit->Model().name, kLoopback, mModbusTcp->Port())});
  }
  if (mModbusRtu) {
    offers.push_back({kModbusRtu, fmt::format("{} on {}", mUnit->Model().name, mModbusRtu->Path().string())});
  }
  return offers;
}
