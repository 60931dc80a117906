#include "src/components/measurementsources/meterattribute.h"

#include <fmt/core.h>

#include "src/components/measurementsources/ctmeter.h"

namespace Hal {

void CMeterAttribute::Open(const std::filesystem::path& folder, std::string_view name,
                           CAttributeFile::EAccess access, ENeed need) {
  mPath = folder / name;
  const SFileError error = mFile.Open(mPath, access);
  mWhyNotOpen = error.reason;
  const bool missing = error.kind == SFileError::EKind::Missing;
  const bool needed = need == ENeed::Always || (need == ENeed::IfPresent && !missing);
  if (error && needed) Fail(error.reason);
}

std::uint32_t CMeterAttribute::Read() const {
  std::uint32_t value = 0;
  if (const SFileError error = mFile.Read(value)) Fail(error.reason);
  return value;
}

void CMeterAttribute::Write(std::uint32_t value) {
  if (const SFileError error = mFile.Write(value)) Fail(error.reason);
}

void CMeterAttribute::WriteUnlessZero(std::uint32_t value) {
  if (IsOpen()) {
    Write(value);
  } else if (value != 0) {
    Fail(mWhyNotOpen);
  }
}

void CMeterAttribute::Expect(std::uint32_t content, std::uint32_t mask) const {
  const std::uint32_t value = Read();
  if ((value & mask) != content) Fail(fmt::format("it reads {} instead of {}", value, content));
}

void CMeterAttribute::Fail(std::string_view reason) const {
  throw MeterException(fmt::format("{}: {}", mPath.string(), reason));
}

}  // namespace Hal
