#include "simulation/linkedpty.h"

#include <array>
#include <cerrno>
#include <cstdlib>
#include <system_error>
#include <utility>

#include <fcntl.h>
#include <fmt/format.h>
#include <termios.h>

namespace {

namespace fs = std::filesystem;

std::string Failed(std::string_view what) {
  return fmt::format("{}: {}", what, std::generic_category().message(errno));
}

bool MakeRaw(int descriptor) {
  termios settings{};
  if (::tcgetattr(descriptor, &settings) != 0) return false;
  ::cfmakeraw(&settings);
  return ::tcsetattr(descriptor, TCSANOW, &settings) == 0;
}

/// One that a process left behind which was killed.
void RemoveStaleLink(const fs::path& link) {
  std::error_code error;
  const fs::path target = fs::read_symlink(link, error);
  if (!error && target.parent_path() == "/dev/pts" && !fs::exists(target, error)) fs::remove(link, error);
}

}  // namespace

std::string CLinkedPty::Open(const fs::path& link) {
  Close();
  std::string failure = Make();
  if (failure.empty()) {
    std::error_code error;
    fs::create_directories(link.parent_path(), error);
    RemoveStaleLink(link);
    if (!error) fs::create_symlink(mName, link, error);
    if (error)
      failure = error == std::errc::file_exists ? "there is something else already" : error.message();
  }
  if (failure.empty()) {
    mLink = link;
    return failure;
  }
  mName.clear();
  Close();
  return failure;
}

std::string CLinkedPty::Make() {
  mFarEnd = CFileDescriptor(::posix_openpt(O_RDWR | O_NOCTTY | O_CLOEXEC));
  std::array<char, 64> name{};
  if (!mFarEnd.IsOpen() || ::fcntl(mFarEnd.Get(), F_SETFL, O_NONBLOCK) != 0 ||
      ::grantpt(mFarEnd.Get()) != 0 || ::unlockpt(mFarEnd.Get()) != 0 ||
      ::ptsname_r(mFarEnd.Get(), name.data(), name.size()) != 0) {
    return Failed("no pseudo-terminal");
  }
  mNearEnd = CFileDescriptor(::open(name.data(), O_RDWR | O_NOCTTY | O_NONBLOCK | O_CLOEXEC));
  if (!mNearEnd.IsOpen() || !MakeRaw(mNearEnd.Get())) return Failed(name.data());
  mName = name.data();
  return "";
}

void CLinkedPty::Close() {
  if (const std::string name = std::exchange(mName, {}); !name.empty()) {
    std::error_code error;
    if (fs::read_symlink(mLink, error) == name) fs::remove(mLink, error);
  }
  mNearEnd.Close();
  mFarEnd.Close();
}
