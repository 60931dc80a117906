#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <stdexcept>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include <json/value.h>

#include "platform/worker/scheduler.h"

/// What is wrong in a file: one line with the file, the line and column in it, the key and what is allowed.
class CFileError : public std::runtime_error {
 public:
  using std::runtime_error::runtime_error;
};

/// A JSON file of which nothing is overlooked: every reader below throws a CFileError that tells the place.
class CStrictJson {
 public:
  class CNode;

  /// `name` is the file's, for messages.
  CStrictJson(std::string name, std::string text);

  /// The object that the file is. Lives no longer than this.
  CNode Root() const;

 private:
  std::string At(std::size_t offset) const;
  std::size_t KeyOffset(std::size_t valueOffset) const;

  std::string mName;
  std::string mText;
  Json::Value mRoot;
};

/// One value of the file.
class CStrictJson::CNode {
 public:
  [[noreturn]] void Fail(std::string_view problem) const;

  /// An object with no other keys than these.
  void AllowKeys(const std::vector<std::string_view>& keys) const;
  std::optional<CNode> Find(std::string_view key) const;
  CNode Require(std::string_view key) const;
  std::vector<CNode> Elements() const;

  bool Boolean() const;
  std::int64_t Integer(std::int64_t least, std::int64_t most) const;
  double Number(double least, double most) const;
  std::string Text() const;
  /// "01:30:00" or, with milliseconds, "00:00:02.500".
  Milliseconds Time() const;
  /// Which of these texts it is, counted from 0.
  std::size_t Choice(const std::vector<std::string_view>& texts) const;
  /// An object with whatever keys.
  const Json::Value& Object() const;
  bool IsText() const { return mValue->isString(); }

 private:
  friend class CStrictJson;
  CNode(const CStrictJson& file, const Json::Value& value, std::string key, std::size_t offset)
      : mFile(&file), mValue(&value), mKey(std::move(key)), mOffset(offset) {}

  const CStrictJson* mFile;
  const Json::Value* mValue;
  std::string mKey;     // empty: the root, or an element of a list
  std::size_t mOffset;  // of the key, or of the value where there is none
};
