#include "simulation/strictjson.h"

#include <algorithm>
#include <cstdio>
#include <memory>
#include <utility>

#include <fmt/format.h>
#include <json/reader.h>

namespace {

/// `"a", "b", "c"`, or with another text before the last
std::string Quoted(const std::vector<std::string_view>& texts, std::string_view beforeLast = ", ") {
  std::string quoted;
  for (const std::string_view& text : texts) {
    const std::string_view before = &text == &texts.back() ? beforeLast : ", ";
    quoted += fmt::format("{}\"{}\"", quoted.empty() ? "" : before, text);
  }
  return quoted;
}

/// The first of JsonCpp's "* Line 3, Column 5\n  Text.\n" as ":3:5: Text."
std::string FirstError(const std::string& errors) {
  unsigned line = 0;
  unsigned column = 0;
  const std::size_t lineEnd = errors.find('\n');
  if (std::sscanf(errors.c_str(), "* Line %u, Column %u", &line, &column) != 2 ||
      lineEnd == std::string::npos) {
    return ": " + errors;
  }
  const std::size_t begin = errors.find_first_not_of(" \n", lineEnd);
  const std::size_t end = errors.find('\n', begin);
  return fmt::format(":{}:{}: {}", line, column, errors.substr(begin, end - begin));
}

Json::CharReaderBuilder StrictBuilder() {
  Json::CharReaderBuilder builder;
  Json::CharReaderBuilder::strictMode(&builder.settings_);
  constexpr int kDeepest = 32;
  builder["stackLimit"] = kDeepest;
  builder["skipBom"] = false;  // places are counted from the file's first byte
  return builder;
}

}  // namespace

CStrictJson::CStrictJson(std::string name, std::string text)
    : mName(std::move(name)), mText(std::move(text)) {
  const std::unique_ptr<Json::CharReader> reader(StrictBuilder().newCharReader());
  std::string errors;
  bool parsed = false;
  try {
    parsed = reader->parse(mText.data(), mText.data() + mText.size(), &mRoot, &errors);
  } catch (const Json::Exception& exception) {  // nested too deeply
    errors = exception.what();
  }
  if (!parsed) throw CFileError(mName + FirstError(errors));
}

CStrictJson::CNode CStrictJson::Root() const {
  return {*this, mRoot, "", 0};
}

std::string CStrictJson::At(std::size_t offset) const {
  const std::string_view before = std::string_view(mText).substr(0, offset);
  const auto line = std::count(before.begin(), before.end(), '\n') + 1;
  const std::size_t lineBegin = before.rfind('\n') + 1;  // 0 when there is none
  return fmt::format("{}:{}:{}", mName, line, offset - lineBegin + 1);
}

/// Values know where they stand, keys do not: theirs is the text before the colon. An escaped quotation mark
/// in it is part of the key.
std::size_t CStrictJson::KeyOffset(std::size_t valueOffset) const {
  const std::size_t end = mText.rfind('"', mText.rfind(':', valueOffset));
  std::size_t begin = mText.rfind('"', end - 1);
  while (mText[begin - 1] == '\\') begin = mText.rfind('"', begin - 1);
  return begin;
}

void CStrictJson::CNode::Fail(std::string_view problem) const {
  const std::string key = mKey.empty() ? "" : fmt::format("\"{}\" ", mKey);
  throw CFileError(fmt::format("{}: {}{}", mFile->At(mOffset), key, problem));
}

void CStrictJson::CNode::AllowKeys(const std::vector<std::string_view>& keys) const {
  if (!mValue->isObject()) Fail("must be an object with " + Quoted(keys));
  for (const std::string& key : mValue->getMemberNames()) {
    if (std::find(keys.begin(), keys.end(), key) == keys.end()) {
      Find(key)->Fail("is not a key that is known here; allowed: " + Quoted(keys));
    }
  }
}

std::optional<CStrictJson::CNode> CStrictJson::CNode::Find(std::string_view key) const {
  const Json::Value* found = mValue->find(key.data(), key.data() + key.size());
  if (found == nullptr) return std::nullopt;
  const auto offset = static_cast<std::size_t>(found->getOffsetStart());
  return CNode(*mFile, *found, std::string(key), mFile->KeyOffset(offset));
}

CStrictJson::CNode CStrictJson::CNode::Require(std::string_view key) const {
  std::optional<CNode> found = Find(key);
  if (!found) Fail(fmt::format("must have \"{}\"", key));
  return *found;
}

std::vector<CStrictJson::CNode> CStrictJson::CNode::Elements() const {
  if (!mValue->isArray()) Fail("must be a list");
  std::vector<CNode> elements;
  for (const Json::Value& value : *mValue) {
    elements.push_back(CNode(*mFile, value, "", static_cast<std::size_t>(value.getOffsetStart())));
  }
  return elements;
}

bool CStrictJson::CNode::Boolean() const {
  if (!mValue->isBool()) Fail("must be true or false");
  return mValue->asBool();
}

std::int64_t CStrictJson::CNode::Integer(std::int64_t least, std::int64_t most) const {
  const bool isWhole = mValue->type() == Json::intValue || mValue->type() == Json::uintValue;
  if (!isWhole || !mValue->isInt64() || mValue->asInt64() < least || mValue->asInt64() > most) {
    Fail(fmt::format("must be a whole number from {} to {}", least, most));
  }
  return mValue->asInt64();
}

double CStrictJson::CNode::Number(double least, double most) const {
  if (!mValue->isNumeric() || !(mValue->asDouble() >= least) || !(mValue->asDouble() <= most)) {
    Fail(fmt::format("must be a number from {} to {}", least, most));
  }
  return mValue->asDouble();
}

std::string CStrictJson::CNode::Text() const {
  if (!mValue->isString()) Fail("must be a text");
  return mValue->asString();
}

Milliseconds CStrictJson::CNode::Time() const {
  const std::string text = Text();
  const bool withMilliseconds = text.size() == std::string_view("hh:mm:ss.mmm").size();
  std::string pattern = withMilliseconds ? "00:00:00.000" : "00:00:00";
  bool fits = text.size() == pattern.size();
  for (std::size_t i = 0; fits && i < pattern.size(); ++i) {
    fits = pattern[i] == '0' ? text[i] >= '0' && text[i] <= '9' : text[i] == pattern[i];
  }
  const auto part = [&](std::size_t begin, std::size_t digits) {
    return std::stoi(text.substr(begin, digits));
  };
  if (!fits || part(3, 2) > 59 || part(6, 2) > 59) {
    Fail("must be a time such as \"01:30:00\" or \"00:00:02.500\"");
  }
  return std::chrono::hours(part(0, 2)) + std::chrono::minutes(part(3, 2)) +
         std::chrono::seconds(part(6, 2)) + std::chrono::milliseconds(withMilliseconds ? part(9, 3) : 0);
}

const Json::Value& CStrictJson::CNode::Object() const {
  if (!mValue->isObject()) Fail("must be an object");
  return *mValue;
}

std::size_t CStrictJson::CNode::Choice(const std::vector<std::string_view>& texts) const {
  const auto found = std::find(texts.begin(), texts.end(), Text());
  if (found == texts.end()) Fail("must be " + Quoted(texts, " or "));
  return static_cast<std::size_t>(found - texts.begin());
}
