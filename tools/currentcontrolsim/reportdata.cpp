#include "tools/currentcontrolsim/reportdata.h"

#include "platform/utility/jsontext.h"
#include "tools/currentcontrolsim/reportpage.h"

namespace {

/// Nothing in a text may end the element that it stands in.
std::string ForScriptElement(std::string_view json) {
  std::string text;
  for (const char each : json) each == '<' ? text += "\\u003c" : text += each;
  return text;
}

}  // namespace

Json::Value ReportData::ToJson(const std::vector<ReportSummary::SFact>& facts) {
  using EState = ReportSummary::SFact::EState;
  Json::Value list(Json::arrayValue);
  for (const auto& fact : facts) {
    Json::Value& entry = list.append(Json::objectValue);
    entry["name"] = std::string(fact.name);
    entry["value"] = fact.value;
    entry["detail"] = fact.detail;
    if (fact.state != EState::Neutral) entry["state"] = fact.state == EState::Held ? "held" : "violated";
  }
  return list;
}

void ReportData::WritePage(std::ostream& out, const Json::Value& texts, const std::string& columns) {
  for (const std::string_view piece : ReportPage::Head()) out << piece;
  const std::string text = ForScriptElement(JsonText::ToLine(texts));
  out << std::string_view(text).substr(0, text.size() - 1) << ",\n\"columns\":" << columns << '}';
  for (const std::string_view piece : ReportPage::Tail()) out << piece;
}
