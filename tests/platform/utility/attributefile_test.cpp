#include "platform/utility/attributefile.h"

#include <cstdlib>
#include <fstream>
#include <iterator>
#include <string>

#include <gtest/gtest.h>

namespace {

namespace fs = std::filesystem;
using enum CAttributeFile::EAccess;
using enum SFileError::EKind;

class AttributeFileTest : public testing::Test {
 protected:
  AttributeFileTest() {
    std::string pattern = (fs::temp_directory_path() / "attributefile.XXXXXX").string();
    folder = ::mkdtemp(pattern.data());
    path = folder / "gain";
  }
  ~AttributeFileTest() override { fs::remove_all(folder); }

  void Put(const std::string& content) const { std::ofstream(path, std::ios::binary) << content; }
  std::string Get() const {
    std::ifstream file(path, std::ios::binary);
    return {std::istreambuf_iterator<char>(file), {}};
  }
  /// The number, or why there is none.
  std::string Text() const {
    std::uint32_t value = 0;
    const SFileError error = attribute.Read(value);
    return error ? error.reason : std::to_string(value);
  }

  fs::path folder;
  fs::path path;
  CAttributeFile attribute;
};

TEST_F(AttributeFileTest, TakesOneUnsignedNumberAndNothingElse) {
  Put("");
  ASSERT_FALSE(attribute.Open(path, Read));
  const std::pair<const char*, const char*> cases[] = {
      {"0\n", "0"},
      {" \t4294967295 \r\n", "4294967295"},
      {"", "it is empty"},
      {" \n", "it is empty"},
      {"-1\n", "it holds no number: \"-1\""},
      {"0x10\n", "it holds no number: \"0x10\""},
      {"12\n13\n", "it holds no number: \"12 13\""},
      {"4294967296\n", "its number has more than 32 bits: 4294967296"},
      {"                                                                 1", "it holds more than a number"},
  };
  for (const auto& [content, read] : cases) {
    Put(content);  // the file stays open, and the same
    EXPECT_EQ(Text(), read) << content;
  }
}

TEST_F(AttributeFileTest, LeavesNothingOfALongerNumberWhenItWrites) {
  Put("16777215\n");
  ASSERT_FALSE(attribute.Open(path, Both));
  EXPECT_FALSE(attribute.Write(42));
  EXPECT_EQ(Get(), "42\n");
}

TEST_F(AttributeFileTest, IsMissingOnceItWasRemovedOrReplaced) {
  EXPECT_EQ(attribute.Open(path, Both).kind, Missing);
  EXPECT_FALSE(attribute.IsOpen());
  Put("1");
  ASSERT_FALSE(attribute.Open(path, Both));
  fs::remove(path);
  Put("2");
  std::uint32_t value = 0;
  EXPECT_EQ(attribute.Read(value).kind, Missing);
  EXPECT_EQ(attribute.Write(3).reason, "it was removed or replaced");
  EXPECT_EQ(Get(), "2");
  ASSERT_FALSE(attribute.Open(path, Both));
  EXPECT_EQ(Text(), "2");
}

TEST_F(AttributeFileTest, TakesNeitherFoldersNorDevicesForAttributes) {
  EXPECT_EQ(attribute.Open(folder, Read).reason, "it is not a regular file");
  EXPECT_EQ(attribute.Open("/dev/null", Both).reason, "it is not a regular file");
  EXPECT_EQ(Text(), "it is not open");
}

}  // namespace
