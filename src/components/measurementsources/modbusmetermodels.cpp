#include "src/components/measurementsources/modbusmetermodels.h"

#include <algorithm>
#include <iterator>

namespace {

constexpr auto kTcp = static_cast<std::uint8_t>(EModbusConnectionKind::Tcp);
constexpr auto kRtu = static_cast<std::uint8_t>(EModbusConnectionKind::Rtu);

constexpr SModbusMeterModel kModels[] = {
    {"abb_b21", kRtu},           {"abb_b23", kRtu},
    {"cg_em111", kRtu},          {"cg_em24_e1", kTcp},
    {"cg_em24_rs485", kRtu},     {"cg_em340", kRtu},
    {"eastron_sdm120", kRtu},    {"eastron_sdm230", kRtu},
    {"eastron_sdm630", kRtu},    {"finder_7m38", kRtu},
    {"inepro_pro380", kRtu},     {"janitza_umg", kTcp | kRtu},
    {"schneider_iem3155", kRtu}, {"siemens_pac2200", kTcp | kRtu},
};

}  // namespace

const SModbusMeterModel* FindModbusMeterModel(std::string_view lowerCaseName) {
  const auto* found = std::ranges::find(kModels, lowerCaseName, &SModbusMeterModel::name);
  return found == std::end(kModels) ? nullptr : found;
}
