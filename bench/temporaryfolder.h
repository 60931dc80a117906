#pragma once

#include <cstdlib>
#include <filesystem>
#include <stdexcept>
#include <string>

/// A fresh folder that is gone when this is.
class CTemporaryFolder {
 public:
  CTemporaryFolder() {
    std::string name = (std::filesystem::temp_directory_path() / "currentcontrol-XXXXXX").string();
    if (mkdtemp(name.data()) == nullptr) throw std::runtime_error("no temporary folder: " + name);
    mPath = name;
  }
  ~CTemporaryFolder() {
    std::error_code ignored;
    std::filesystem::remove_all(mPath, ignored);
  }
  CTemporaryFolder(const CTemporaryFolder&) = delete;
  CTemporaryFolder& operator=(const CTemporaryFolder&) = delete;

  const std::filesystem::path& Path() const { return mPath; }

 private:
  std::filesystem::path mPath;
};
