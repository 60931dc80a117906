#pragma once

#include <cstdint>
#include <span>

/// What must hold for any input whatever: it ends the process, with a line on standard error, where it does
/// not. Fuzzers call these, and a test does with every input that is kept.
namespace Checks {

/// The bytes as a telegram, and between a header and a good checksum.
void P1Parser(std::span<const std::uint8_t> input);
/// The first byte says how the others are cut into pieces.
void P1Framing(std::span<const std::uint8_t> input);
/// The first byte says how the others come in, and over what; also with every checksum made good.
void LbPacketParser(std::span<const std::uint8_t> input);
/// What members of a group and others send, from three addresses, to one that has the group's key.
void LbEncryptedPacketParser(std::span<const std::uint8_t> input);

}  // namespace Checks
