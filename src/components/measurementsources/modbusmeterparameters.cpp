#include "src/components/measurementsources/modbusmeterparameters.h"

#include <algorithm>
#include <array>
#include <string_view>
#include <vector>

#include <fmt/format.h>
#include <fmt/ranges.h>
#include <json/value.h>

#include "platform/utility/hostport.h"
#include "platform/utility/jsontext.h"
#include "platform/utility/text.h"

namespace {

using EParity = SModbusRtuLine::EParity;

constexpr std::array<std::uint32_t, 11> kBaudRates{1200,  2400,   4800,   9600,   19200, 38400,
                                                   57600, 115200, 230400, 460800, 921600};
constexpr std::uint64_t kMostUnit = 247;
constexpr std::uint64_t kNoUnit = 255;  // for servers that are meters themselves
constexpr std::uint64_t kMostPort = 65535;

/// Reads members one by one and keeps what is wrong with the first one that is.
class CParameterReader {
 public:
  explicit CParameterReader(const Json::Value& params) : mParams(params) {}

  const std::string& Fault() const { return mFault; }

  bool Refuse(std::string_view member, std::string_view allowed) {
    if (mFault.empty()) {
      const Json::Value& value = Find(member);
      mFault = fmt::format("parameter \"{}\" is {}, allowed is {}", member,
                           value.isNull() ? "missing" : JsonText::ToLog(value), allowed);
    }
    return false;
  }

  /// Empty: it is not there.
  std::string TextOf(std::string_view member) {
    const Json::Value& value = Find(member);
    if (value.isNull() || value.isConvertibleTo(Json::stringValue)) return value.asString();
    Refuse(member, "a text");
    return {};
  }

  std::string LowerCaseTextOf(std::string_view member) { return Text::ToLowerCase(TextOf(member)); }

  /// False: it is not there, or no good.
  template <class TNumber, class TAllowed>
  bool Number(std::string_view member, TNumber& number, const TAllowed& isAllowed, std::string_view allowed) {
    const Json::Value& value = Find(member);
    if (value.isNull() || value == "") return false;
    std::optional<std::uint64_t> given;
    if (value.isUInt64()) given = value.asUInt64();
    if (value.isString()) given = Text::ToNumber<std::uint64_t>(value.asString());
    if (!given || !isAllowed(*given)) return Refuse(member, allowed);
    number = static_cast<TNumber>(*given);
    return true;
  }

 private:
  const Json::Value& Find(std::string_view member) const {
    if (!mParams.isObject()) return Json::Value::nullSingleton();
    for (auto each = mParams.begin(); each != mParams.end(); ++each) {
      if (Text::ToLowerCase(each.name()) == Text::ToLowerCase(std::string(member))) return *each;
    }
    return Json::Value::nullSingleton();
  }

  const Json::Value& mParams;
  std::string mFault;
};

std::string KnownModels(EModbusConnectionKind kind) {
  std::vector<std::string_view> names;
  for (const auto& model : ModbusMeterModels())
    if (model.Has(kind)) names.push_back(model.name);
  return fmt::format("one of {}", fmt::join(names, ", "));
}

void ReadModel(CParameterReader& reader, SModbusMeterParameters& result) {
  result.model = FindModbusMeterModel(reader.LowerCaseTextOf("type"));
  if (result.model == nullptr || !result.model->Has(result.kind)) {
    reader.Refuse("type", KnownModels(result.kind));
    return;
  }
  result.unit = result.model->unit;
}

void ReadUnit(CParameterReader& reader, SModbusMeterParameters& result) {
  if (result.kind == EModbusConnectionKind::Rtu) {
    reader.Number(
        "unitId", result.unit, [](auto unit) { return unit >= 1 && unit <= kMostUnit; }, "1 to 247");
  } else {
    reader.Number(
        "unitId", result.unit, [](auto unit) { return unit <= kMostUnit || unit == kNoUnit; },
        "0 to 247 or 255");
  }
}

void ReadSign(CParameterReader& reader, SModbusMeterParameters& result) {
  const std::string text = reader.LowerCaseTextOf("invert");
  result.isInverted = text == "true" || text == "1";
  if (!result.isInverted && !text.empty() && text != "false" && text != "0")
    reader.Refuse("invert", "true or false");
}

void ReadPhases(CParameterReader& reader, SModbusMeterParameters& result) {
  const bool mayHaveThree = result.model->sunSpec != ESunSpec::No || result.model->map.phases == 3;
  std::uint8_t phases = 0;
  const auto isAllowed = [mayHaveThree](auto count) { return count == 1 || (mayHaveThree && count == 3); };
  if (reader.Number("phases", phases, isAllowed, mayHaveThree ? "1 or 3" : "1 for this type"))
    result.phases = phases;
}

/// "host", "host:port", "[host]:port", or an IPv6 address alone.
bool Split(std::string_view address, std::string& host, std::optional<std::uint16_t>& port) {
  const bool isBracketed = address.starts_with('[');
  const std::size_t colon = address.rfind(':');
  const bool hasPort = colon != std::string_view::npos &&
                       (isBracketed ? address[colon - 1] == ']' : address.find(':') == colon);
  if (hasPort) port = HostPort::ToPort(address.substr(colon + 1));
  if (hasPort && !port) return false;
  std::string_view name = hasPort ? address.substr(0, colon) : address;
  if (isBracketed) {
    if (!name.ends_with(']')) return false;
    name = name.substr(1, name.size() - 2);
  }
  host = name;
  const auto isPrintable = [](char letter) { return letter > ' ' && letter < '\x7f'; };
  return !host.empty() && host.size() <= HostPort::kLongestHost && std::ranges::all_of(host, isPrintable);
}

void ReadServer(CParameterReader& reader, SModbusMeterParameters& result) {
  std::optional<std::uint16_t> port;
  if (!Split(reader.TextOf("address"), result.server.host, port))
    reader.Refuse("address", "a host's name or address, with \":\" and a port from 1 to 65535 if need be");
  if (port) result.server.port = *port;
  reader.Number(
      "port", result.server.port,
      [port](auto given) { return given >= 1 && given <= kMostPort && (!port || *port == given); },
      !port ? "1 to 65535" : "that of \"address\"");
}

void ReadParity(CParameterReader& reader, SModbusRtuLine& line) {
  const std::string text = reader.LowerCaseTextOf("parity");
  if (text.empty()) return;
  if (text == "none" || text == "n") {
    line.parity = EParity::None;
  } else if (text == "even" || text == "e") {
    line.parity = EParity::Even;
  } else if (text == "odd" || text == "o") {
    line.parity = EParity::Odd;
  } else {
    reader.Refuse("parity", "none, even or odd");
  }
}

void ReadLine(CParameterReader& reader, const SModbusRtuLine& defaultLine, SModbusMeterParameters& result) {
  SModbusRtuLine& line = result.line;
  const auto& serial = result.model->serial;
  line = {defaultLine.device, serial.baud, serial.parity, serial.stopBits, defaultLine.autoDirection};
  const std::string device = reader.TextOf("device");
  if (!device.empty() && device != line.device) {
    line.device = device;
    line.autoDirection = true;
  }
  if (!device.empty() && (!device.starts_with('/') || device.find('\0') != std::string::npos))
    reader.Refuse("device", "the whole path of a serial device");
  reader.Number(
      "baudRate", line.baud,
      [](auto baud) { return std::ranges::find(kBaudRates, baud) != kBaudRates.end(); },
      fmt::format("one of {}", fmt::join(kBaudRates, ", ")));
  ReadParity(reader, line);
  reader.Number(
      "stopBits", line.stopBits, [](auto bits) { return bits == 1 || bits == 2; }, "1 or 2");
}

}  // namespace

std::string SModbusMeterParameters::Label() const {
  const std::string place = kind == EModbusConnectionKind::Rtu ? "on " + line.device
                            : server.host.find(':') == std::string::npos
                                ? fmt::format("at {}:{}", server.host, server.port)
                                : fmt::format("at [{}]:{}", server.host, server.port);
  return fmt::format("Modbus meter {} {}, unit {}", model->name, Text::InOneLine(place), unit);
}

std::variant<SModbusMeterParameters, std::string> ModbusMeterParameters::Parse(
    EModbusConnectionKind kind, const Json::Value& params, const SModbusRtuLine& defaultLine) {
  SModbusMeterParameters result;
  result.kind = kind;
  CParameterReader reader(params);
  ReadModel(reader, result);
  if (!reader.Fault().empty()) return reader.Fault();
  ReadUnit(reader, result);
  ReadSign(reader, result);
  ReadPhases(reader, result);
  if (kind == EModbusConnectionKind::Tcp) {
    ReadServer(reader, result);
  } else {
    ReadLine(reader, defaultLine, result);
  }
  if (!reader.Fault().empty()) return reader.Fault();
  return result;
}
