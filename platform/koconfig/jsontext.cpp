#include "platform/koconfig/jsontext.h"

#include <algorithm>
#include <exception>
#include <memory>

#include <json/reader.h>
#include <json/writer.h>

namespace KoConfig::JsonText {

namespace {

/// The parser recurses, and a worker's stack is small.
constexpr int kDeepestNesting = 64;
constexpr std::size_t kLongestReason = 200;
constexpr std::size_t kLongestValue = 60;

Json::CharReaderBuilder ReaderBuilder() {
  Json::CharReaderBuilder builder;
  builder["stackLimit"] = kDeepestNesting;
  builder["failIfExtra"] = true;
  return builder;
}

std::string Shortened(std::string text, std::size_t longest) {
  if (text.size() > longest) {
    text.resize(longest);
    text += "...";
  }
  return text;
}

/// The parser's errors come as lines with a star in front of each.
std::string InOneLine(std::string_view lines) {
  std::string line;
  for (const char character : lines) {
    const bool blank = character <= ' ' || character == '*' || character >= '\x7f';
    if (!blank) {
      line += character;
    } else if (!line.empty() && line.back() != ' ') {
      line += ' ';
    }
  }
  while (!line.empty() && line.back() == ' ') line.pop_back();
  return Shortened(std::move(line), kLongestReason);
}

}  // namespace

std::string ParseObject(std::string_view text, Json::Value& object) {
  if (text.empty()) return "the file is empty";
  try {
    static const Json::CharReaderBuilder builder = ReaderBuilder();
    const std::unique_ptr<Json::CharReader> reader(builder.newCharReader());
    Json::Value root;
    std::string errors;
    if (!reader->parse(text.data(), text.data() + text.size(), &root, &errors)) return InOneLine(errors);
    if (!root.isObject()) return "Line 1, Column 1: it is no JSON object";
    object.swap(root);
    return {};
  } catch (const std::exception& exception) {
    return InOneLine(exception.what());
  }
}

std::string ToFile(const Json::Value& object) {
  Json::StreamWriterBuilder builder;
  builder["indentation"] = "  ";
  builder["emitUTF8"] = true;  // bytes that are no UTF-8 stay what they are
  return Json::writeString(builder, object) + '\n';
}

std::string ToLog(const Json::Value& value) {
  Json::StreamWriterBuilder builder;
  builder["indentation"] = "";
  builder["commentStyle"] = "None";
  return Shortened(Json::writeString(builder, value), kLongestValue);
}

}  // namespace KoConfig::JsonText
