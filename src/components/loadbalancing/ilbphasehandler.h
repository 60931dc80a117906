#pragma once

#include <cstdint>

/// Finds out for the group on which phases the vehicle draws. Any thread.
class ILbPhaseHandler {
 public:
  /// Bits of the report.
  static constexpr std::uint8_t kDrawsOnL1 = 0x01;  ///< more than 1 A; L2 and L3 follow
  static constexpr std::uint8_t kDrawsOnAll = 0x07;
  static constexpr std::uint8_t kDiscoveryDone = 0x80;

  virtual ~ILbPhaseHandler() = default;

  /// What the leader told: the limit in mA as it stood in the message, and whether the phases are to be
  /// found.
  virtual void SetLimit(std::uint32_t milliAmpere, bool isPhaseDiscovery) = 0;
  /// Bits 0 to 2: L1 to L3 draws more than 1 A now. Bit 7: in the newest phase discovery the vehicle drew for
  /// 10 s.
  virtual std::uint8_t GetReport() = 0;
};
