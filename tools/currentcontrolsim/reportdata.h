#pragma once

#include <cstdint>
#include <iterator>
#include <ostream>
#include <string>
#include <string_view>
#include <vector>

#include <fmt/format.h>
#include <json/value.h>

#include "tools/currentcontrolsim/reportsummary.h"

/// What the report's page is told, whatever it shows.
namespace ReportData {

/// Values over time, one column for each of them. One thread.
class CColumns {
 public:
  /// A value of each moment. The first value and then the differences, most of which are short.
  template <class TMoments, class TValueOf>
  void Add(std::string_view name, const TMoments& moments, const TValueOf& valueOf) {
    fmt::format_to(std::back_inserter(mText), "{}\"{}\":[", mText.empty() ? "{" : ",\n", name);
    std::int64_t last = 0;
    for (const auto& moment : moments) {
      const auto value = static_cast<std::int64_t>(valueOf(moment));
      if (mText.back() != '[') mText += ',';
      fmt::format_to(std::back_inserter(mText), "{}", value - last);
      last = value;
    }
    mText += ']';
  }

  /// After at least one.
  std::string ToText() const { return mText + "}"; }

 private:
  std::string mText;
};

Json::Value ToJson(const std::vector<ReportSummary::SFact>& facts);

template <class TNames>
Json::Value List(const TNames& names) {
  Json::Value list(Json::arrayValue);
  for (const auto& name : names) list.append(std::string(name));
  return list;
}

/// The page with an object of texts, and the columns besides.
void WritePage(std::ostream& out, const Json::Value& texts, const std::string& columns);

}  // namespace ReportData
