#include "simulation/registerfile.h"

#include <array>
#include <cerrno>
#include <charconv>
#include <string>
#include <system_error>

#include <fcntl.h>
#include <fmt/format.h>
#include <unistd.h>

namespace {

/// The longest number of 32 bits.
constexpr std::size_t kDigits = 10;

[[noreturn]] void Fail() {
  throw std::system_error(errno, std::generic_category());
}

}  // namespace

CRegisterFile::CRegisterFile(const std::filesystem::path& path, std::uint32_t value) {
  constexpr mode_t kMode = 0644;
  mFile = CFileDescriptor(open(path.c_str(), O_RDWR | O_CREAT | O_CLOEXEC, kMode));
  if (!mFile.IsOpen()) Fail();
  Write(value);
}

void CRegisterFile::Show(std::uint32_t value) {
  if (value != mValue) Write(value);
}

std::optional<std::uint32_t> CRegisterFile::Take() {
  // The texts may be the same: a chip that is told to reset is then told what it was told before.
  const timespec change = ChangedAt();
  if (change.tv_sec == mKnownChange.tv_sec && change.tv_nsec == mKnownChange.tv_nsec) return std::nullopt;
  mKnownChange = change;
  std::array<char, kDigits> text{};
  const ssize_t length = pread(mFile.Get(), text.data(), text.size(), 0);
  if (length < 0) Fail();
  mValue = 0;
  std::from_chars(text.data(), text.data() + length, mValue);
  return mValue;
}

void CRegisterFile::Write(std::uint32_t value) {
  const std::string text = fmt::format("{:<{}}\n", value, kDigits);
  if (pwrite(mFile.Get(), text.data(), text.size(), 0) != static_cast<ssize_t>(text.size())) Fail();
  mValue = value;
  mKnownChange = ChangedAt();
}

timespec CRegisterFile::ChangedAt() const {
  struct stat status {};
  if (fstat(mFile.Get(), &status) != 0) Fail();
  return status.st_mtim;
}
