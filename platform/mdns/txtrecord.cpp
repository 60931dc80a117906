#include "platform/mdns/txtrecord.h"

#include "platform/utility/text.h"

namespace TxtRecord {

void Add(std::string_view text, Properties& properties) {
  const std::string_view key = text.substr(0, text.find('='));
  if (key.empty() || key.size() > kLongestKey || properties.size() >= kMostProperties) return;
  const std::string_view value = text.substr(key.size() < text.size() ? key.size() + 1 : text.size());
  properties.emplace(Text::ToLowerCase(std::string(key)), value);
}

}  // namespace TxtRecord
