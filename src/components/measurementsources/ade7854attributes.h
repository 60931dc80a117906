#pragma once

#include <array>
#include <cstdint>
#include <string_view>

/// The attributes of the metering chip below its folder, all unsigned decimal text. What a board's kernel
/// driver calls otherwise is changed here and nowhere else; docs/metering-chip.md tells what each is for.
namespace Hal::Ade7854 {

/// Below the root.
inline constexpr auto kFolder = "var/sysfs-links/bop";

struct SPhaseAttributes {
  std::string_view currentRms;
  std::string_view currentGain;
  std::string_view voltageGain;
  std::string_view voltageRmsOffset;
  std::string_view currentRmsOffset;
};
inline constexpr std::array<SPhaseAttributes, 3> kPhases{{
    {"airms", "aigain", "avgain", "avrmsos", "airmsos"},
    {"birms", "bigain", "bvgain", "bvrmsos", "birmsos"},
    {"cirms", "cigain", "cvgain", "cvrmsos", "cirmsos"},
}};

/// Code 0 to 4 for 1, 2, 4, 8, 16: bits 0 to 2 the phase currents, 3 to 5 the neutral, 6 to 8 the voltages.
inline constexpr std::string_view kPgaGain = "gain";
/// 1 starts the signal processor, which stands still after a reset; reads 1 while it runs.
inline constexpr std::string_view kRun = "run";
/// Writing 1 resets the chip. Not every driver has it.
inline constexpr std::string_view kReset = "reset";
/// Over the chip's configuration, other after a reset. Not every driver has it.
inline constexpr std::string_view kChecksum = "chksum";

/// Registers are this wide; signed contents stand in them as two's complement.
inline constexpr std::uint32_t kRegisterMask = 0xFFFFFF;

}  // namespace Hal::Ade7854
