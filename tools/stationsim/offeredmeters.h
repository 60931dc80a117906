#pragma once

#include <algorithm>
#include <cstdint>
#include <filesystem>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "platform/worker/scheduler.h"
#include "simulation/homewizardserver.h"
#include "simulation/housemeter.h"
#include "simulation/modbusrtuserver.h"
#include "simulation/modbusserver.h"
#include "simulation/modbusunit.h"
#include "simulation/p1pty.h"
#include "src/components/settingskeys.h"

/// Which meters the house has, by their types in the settings.
struct SMeterChoice {
  std::vector<std::string> types{std::string(SettingsKeys::kCurrentTransformers)};
  std::string model = "siemens_pac2200";  ///< of a Modbus meter
  std::uint16_t port = 0;                 ///< of a meter on the network; 0: one that is free

  bool Has(std::string_view type) const { return std::ranges::find(types, type) != types.end(); }
};

/// The house's meter as current control finds it: on a serial line, in the network. Transformers are another
/// matter, they have a chip. One thread.
class COfferedMeters {
 public:
  struct SOffer {
    std::string_view type;
    std::string place;
  };

  COfferedMeters(IScheduler& scheduler, CHouseMeter& meter, const SMeterChoice& choice,
                 const std::filesystem::path& root);

  /// Throws Rpc::CStartError when one of them cannot be offered.
  void Start();
  void Stop();

  /// Where each of them is, once started.
  std::vector<SOffer> Offers() const;

 private:
  std::optional<CP1Pty> mP1;
  std::optional<CHomeWizardServer> mHomeWizard;
  std::optional<CModbusUnit> mUnit;
  std::optional<CModbusServer> mModbusTcp;
  std::optional<CModbusRtuServer> mModbusRtu;
};
