#pragma once

#include "platform/diagnostics/signaldefinition.h"

/// Every diagnostics signal that the service sends. Numbers come in blocks of 100 per component; the
/// arbiter's are older than that rule.
namespace DiagnosticsSignals {

using EKind = CSignalDefinition::EKind;

// Current limiter
inline constexpr CSignalDefinition kLimitingCurrentSource{142, "CurrentControl limiting current source",
                                                          EKind::Text};
inline constexpr CSignalDefinition kLimitingPhasesSource{148, "CurrentControl limiting phases source",
                                                         EKind::Text};
inline constexpr CSignalDefinition kSourceChanged{20504, "Current limitation source changed", EKind::Event};

// Peer links: 30000 to 30099
/// °C by thermal source number: earth-leakage detectors 1 and 2, relays 1 and 2, NetM, Adac.
inline constexpr CSignalDefinition kTemperatures{30000, "CurrentControl temperatures", EKind::Floats};

}  // namespace DiagnosticsSignals
