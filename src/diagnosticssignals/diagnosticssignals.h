#pragma once

#include <array>

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

// Blackout protection: 30100 to 30199
inline constexpr CSignalDefinition kBopCurrent{30100, "Bop current (phase 1, 2, 3)", EKind::Floats};  ///< A
inline constexpr CSignalDefinition kBopConstraint{30101, "Constraint of the Bop component",
                                                  EKind::Floats};  ///< A
inline constexpr CSignalDefinition kBopMeterFailure{30102, "CurrentControl blackout protection meter failure",
                                                    EKind::Boolean};
inline constexpr CSignalDefinition kBopUsingFallback{
    30103, "CurrentControl blackout protection using fallback", EKind::Boolean};
inline constexpr CSignalDefinition kBopInvalidConfig{
    30104, "CurrentControl blackout protection using invalid config", EKind::Boolean};
inline constexpr CSignalDefinition kBopSourceUnusable{
    30105, "CurrentControl dynamic load balancing measurement source unusable", EKind::Boolean};

// Current transformers: 30200 to 30299
inline constexpr std::array<CSignalDefinition, 3> kImplausibleCt{
    {{30200, "CurrentControl implausible CT at phase 1", EKind::Boolean},
     {30201, "CurrentControl implausible CT at phase 2", EKind::Boolean},
     {30202, "CurrentControl implausible CT at phase 3", EKind::Boolean}}};

// P1 extender: 30300 to 30399
inline constexpr CSignalDefinition kP1Version{30300, "CurrentControl P1 extender P1 version", EKind::Text};

// Overcurrent protection: 30400 to 30499
inline constexpr CSignalDefinition kOvercurrentHardwareLimit{
    30400, "CurrentControl vehicle exceeds hardware limit", EKind::Boolean};
inline constexpr CSignalDefinition kOvercurrentInstallationLimit{
    30401, "CurrentControl vehicle exceeds installation limit", EKind::Boolean};
inline constexpr CSignalDefinition kOvercurrentCableRating{
    30402, "CurrentControl vehicle exceeds cable rating", EKind::Boolean};

// Phase imbalance: 30500 to 30599
inline constexpr CSignalDefinition kPhaseImbalance{30500, "CurrentControl phase imbalance limit exceeded",
                                                   EKind::Boolean};

// Solar charging: 30600 to 30699
inline constexpr CSignalDefinition kSolarHouseholdPower{
    30600, "CurrentControl solar charging household power", EKind::Floats};  ///< W
inline constexpr CSignalDefinition kSolarSourceUnusable{
    30601, "CurrentControl solar charging measurement source unusable", EKind::Boolean};
inline constexpr CSignalDefinition kSolarNotSupported{30602, "CurrentControl solar charging not supported",
                                                      EKind::Boolean};

// Group load balancing: 30700 to 30799
inline constexpr CSignalDefinition kLoadBalancingRole{30700, "CurrentControl group load balancing role",
                                                      EKind::Text};
inline constexpr CSignalDefinition kLoadBalancingUndiscovered{
    30701, "CurrentControl group load balancing without leader", EKind::Boolean};

}  // namespace DiagnosticsSignals
