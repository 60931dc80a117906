#pragma once

#include <cstdint>
#include <filesystem>
#include <string>
#include <string_view>

#include "platform/utility/attributefile.h"

namespace Hal {

/// An attribute of a metering chip's kernel driver and where it is. What fails throws Hal::MeterException
/// with the attribute's path and the reason. One thread at a time.
class CMeterAttribute {
 public:
  enum class ENeed {
    Always,
    IfPresent,  ///< may be missing, but must be usable where it is there
    IfWanted,   ///< needed by the one who writes it
  };

  /// May be called again, for what has the same name by then.
  void Open(const std::filesystem::path& folder, std::string_view name, CAttributeFile::EAccess access,
            ENeed need = ENeed::Always);
  bool IsOpen() const { return mFile.IsOpen(); }

  std::uint32_t Read() const;
  void Write(std::uint32_t value);
  /// For one that a driver may lack as long as it need not differ from 0.
  void WriteUnlessZero(std::uint32_t value);
  /// Throws when it does not read as this in the masked bits.
  void Expect(std::uint32_t content, std::uint32_t mask = ~std::uint32_t{0}) const;

 private:
  [[noreturn]] void Fail(std::string_view reason) const;

  std::filesystem::path mPath;
  CAttributeFile mFile;
  std::string mWhyNotOpen;
};

}  // namespace Hal
