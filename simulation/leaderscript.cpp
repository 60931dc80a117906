#include "simulation/leaderscript.h"

#include <limits>
#include <utility>

#include "simulation/strictjson.h"

namespace {

using CNode = CStrictJson::CNode;

LbSerialNumber ReadStation(const CNode& node) {
  const auto serialNumber = ToLbSerialNumber(node.Text());
  if (!serialNumber) node.Fail("must be a serial number such as \"12-34-ABC-DE1\"");
  return *serialNumber;
}

SLeaderOrder ReadOrder(const CNode& node) {
  node.AllowKeys({"at", "station", "milliampere", "phase-discovery", "silent"});
  SLeaderOrder order;
  if (const auto station = node.Find("station")) order.station = ReadStation(*station);
  if (const auto limit = node.Find("milliampere")) {
    order.milliAmpere =
        static_cast<std::uint32_t>(limit->Integer(0, std::numeric_limits<std::uint32_t>::max()));
  }
  if (const auto discovery = node.Find("phase-discovery")) order.isPhaseDiscovery = discovery->Boolean();
  if (const auto silent = node.Find("silent")) order.isSilent = silent->Boolean();
  return order;
}

}  // namespace

SLeaderScript ReadLeaderScript(const std::string& name, std::string text) {
  const CStrictJson file(name, std::move(text));
  const CNode root = file.Root();
  root.AllowKeys({"description", "repeat", "orders"});
  if (const auto description = root.Find("description")) description->Text();
  SLeaderScript script;
  if (const auto repeat = root.Find("repeat")) {
    script.repeat = repeat->Time();
    if (script.repeat == Milliseconds{0}) repeat->Fail("must be longer than nothing");
  }
  for (const CNode& node : root.Require("orders").Elements()) {
    const SLeaderOrder order = ReadOrder(node);
    const CNode at = node.Require("at");
    if (script.repeat > Milliseconds{0} && at.Time() >= script.repeat)
      at.Fail("must be earlier than \"repeat\"");
    script.events.push_back({at.Time(), order});
  }
  return script;
}

SLeaderScript LoadLeaderScript(IFiles& files, const std::filesystem::path& path) {
  std::string text;
  if (const SFileError error = files.Read(path, text))
    throw CFileError("cannot read script " + path.string() + ": " + error.reason);
  return ReadLeaderScript(path.string(), std::move(text));
}
