#include "platform/utility/jsontext.h"

#include <algorithm>
#include <cstddef>
#include <exception>
#include <memory>
#include <utility>

#include <json/reader.h>
#include <json/writer.h>

namespace JsonText {

namespace {

/// The parser recurses, and a worker's stack is small.
constexpr int kDeepestNesting = 32;
constexpr std::size_t kLongestValue = 60;

Json::CharReaderBuilder ReaderBuilder() {
  Json::CharReaderBuilder builder;
  builder["stackLimit"] = kDeepestNesting;
  builder["failIfExtra"] = true;
  return builder;
}

/// The parser's errors come as lines with a star and the position in front of each, "* Line 1, Column 8", and
/// may quote the text.
std::string ToReason(std::string errors, Text::EContents contents) {
  if (contents == Text::EContents::Secret) {
    return Text::InOneLine(errors.substr(0, errors.find('\n')).erase(0, 2)) + ": it is no JSON object";
  }
  std::ranges::replace(errors, '*', ' ');
  return Text::InOneLine(errors);
}

}  // namespace

std::string ParseObject(std::string_view text, Json::Value& object, Text::EContents contents) {
  if (text.empty()) return "Line 1, Column 1: the file is empty";
  try {
    static const Json::CharReaderBuilder builder = ReaderBuilder();
    const std::unique_ptr<Json::CharReader> reader(builder.newCharReader());
    Json::Value root;
    std::string errors;
    if (!reader->parse(text.data(), text.data() + text.size(), &root, &errors)) {
      return ToReason(std::move(errors), contents);
    }
    if (!root.isObject()) return "Line 1, Column 1: it is no JSON object";
    object.swap(root);
    return {};
  } catch (const std::exception& exception) {
    return Text::InOneLine(exception.what());
  }
}

std::string ToFile(const Json::Value& object) {
  Json::StreamWriterBuilder builder;
  builder["indentation"] = "  ";
  builder["emitUTF8"] = true;  // bytes that are no UTF-8 stay what they are
  return Json::writeString(builder, object) + '\n';
}

std::string ToLine(const Json::Value& value) {
  Json::StreamWriterBuilder builder;
  builder["indentation"] = "";
  builder["commentStyle"] = "None";
  return Json::writeString(builder, value);
}

std::string ToLog(const Json::Value& value) {
  return Text::Shortened(ToLine(value), kLongestValue);
}

}  // namespace JsonText
