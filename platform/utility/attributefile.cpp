#include "platform/utility/attributefile.h"

#include <cerrno>
#include <charconv>
#include <cstddef>
#include <limits>
#include <string>
#include <string_view>
#include <system_error>
#include <utility>

#include <fcntl.h>
#include <fmt/core.h>
#include <sys/stat.h>
#include <unistd.h>

#include "platform/utility/text.h"

namespace {

/// Holds any number of 32 bits with room for blanks; longer text is not one number.
constexpr std::size_t kLongestText = 64;
constexpr std::string_view kBlanks = " \t\r\n";

SFileError Failed(std::string reason) {
  return {SFileError::EKind::Failed, std::move(reason)};
}

/// The outcome of a system call that failed, from errno.
SFileError SystemError(const char* operation) {
  const int error = errno;
  const bool missing = error == ENOENT || error == ENOTDIR || error == ENODEV || error == ENXIO;
  return {missing ? SFileError::EKind::Missing : SFileError::EKind::Failed,
          fmt::format("{}: {}", operation, std::generic_category().message(error))};
}

/// Calls until no signal comes in between.
template <typename TCall>
auto Uninterrupted(TCall call) {
  auto result = call();
  while (result < 0 && errno == EINTR) result = call();
  return result;
}

/// An open file stays readable when its name is gone, with what it held last. The kernel's own attributes say
/// ENODEV then; files that stand in for them do not.
SFileError CheckThere(int descriptor) {
  struct stat status {};
  if (::fstat(descriptor, &status) != 0) return SystemError("fstat");
  if (!S_ISREG(status.st_mode)) return Failed("it is not a regular file");
  if (status.st_nlink == 0) return {SFileError::EKind::Missing, "it was removed or replaced"};
  return {};
}

SFileError Parse(std::string_view text, std::uint32_t& value) {
  const std::size_t begin = text.find_first_not_of(kBlanks);
  if (begin == std::string_view::npos) return Failed("it is empty");
  const std::string_view digits = text.substr(begin, text.find_last_not_of(kBlanks) + 1 - begin);

  std::uint64_t number = 0;
  const auto [end, error] = std::from_chars(digits.data(), digits.data() + digits.size(), number);
  const bool isNumber = error != std::errc::invalid_argument && end == digits.data() + digits.size();
  if (!isNumber) return Failed(fmt::format("it holds no number: \"{}\"", Text::InOneLine(text)));
  if (error != std::errc() || number > std::numeric_limits<std::uint32_t>::max()) {
    return Failed(fmt::format("its number has more than 32 bits: {}", digits));
  }
  value = static_cast<std::uint32_t>(number);
  return {};
}

}  // namespace

SFileError CAttributeFile::Open(const std::filesystem::path& path, EAccess access) {
  const int flags = access == EAccess::Read ? O_RDONLY : access == EAccess::Write ? O_WRONLY : O_RDWR;
  // Without O_NONBLOCK the opening of a FIFO would wait for its other end.
  mDescriptor = CFileDescriptor(
      Uninterrupted([&] { return ::open(path.c_str(), flags | O_CLOEXEC | O_NONBLOCK | O_NOCTTY); }));
  if (!mDescriptor.IsOpen()) return SystemError("open");
  SFileError error = CheckThere(mDescriptor.Get());
  if (error) mDescriptor.Close();
  return error;
}

SFileError CAttributeFile::Read(std::uint32_t& value) const {
  if (!IsOpen()) return Failed("it is not open");
  char text[kLongestText];
  const ssize_t count = Uninterrupted([&] { return ::pread(mDescriptor.Get(), text, sizeof text, 0); });
  if (count < 0) return SystemError("read");
  if (SFileError gone = CheckThere(mDescriptor.Get())) return gone;
  const auto length = static_cast<std::size_t>(count);
  if (length == sizeof text) return Failed("it holds more than a number");
  return Parse({text, length}, value);
}

SFileError CAttributeFile::Write(std::uint32_t value) {
  if (!IsOpen()) return Failed("it is not open");
  if (SFileError gone = CheckThere(mDescriptor.Get())) return gone;
  char text[kLongestText];
  const char* const end = fmt::format_to_n(text, sizeof text, "{}\n", value).out;
  const auto length = static_cast<std::size_t>(end - text);
  const ssize_t count = Uninterrupted([&] { return ::pwrite(mDescriptor.Get(), text, length, 0); });
  if (count < 0) return SystemError("write");
  if (static_cast<std::size_t>(count) != length) return Failed("write: it does not take the whole number");
  // The kernel's attributes have no length; in a file that stands in for one a longer number would leave its
  // tail. What is written is written, so a refusal does no harm.
  [[maybe_unused]] const int shortened = ::ftruncate(mDescriptor.Get(), static_cast<off_t>(length));
  return {};
}
