#include "src/components/measurementsources/modbusmetermodels.h"

#include <algorithm>

namespace {

constexpr auto kTcp = static_cast<std::uint8_t>(EModbusConnectionKind::Tcp);
constexpr auto kRtu = static_cast<std::uint8_t>(EModbusConnectionKind::Rtu);
constexpr auto kInput = EModbusTable::Input;
constexpr auto kEven = SModbusRtuLine::EParity::Even;

// Phases stand side by side in all but one of the models.
constexpr SModbusQuantity OfPhases(EModbusType type, std::uint16_t address, double scale) {
  return {.type = type, .address = address, .toNextPhase = RegistersOf(type), .scale = scale};
}
constexpr SModbusQuantity F32(std::uint16_t address, double scale = 1) {
  return OfPhases(EModbusType::Float32, address, scale);
}
constexpr SModbusQuantity U32(std::uint16_t address, double scale) {
  return OfPhases(EModbusType::Unsigned32, address, scale);
}
constexpr SModbusQuantity S32(std::uint16_t address, double scale) {
  return OfPhases(EModbusType::Signed32, address, scale);
}
constexpr SModbusQuantity S32LowFirst(std::uint16_t address, double scale) {
  return OfPhases(EModbusType::Signed32LowWordFirst, address, scale);
}

/// What models of one maker have in common, and what sets them apart.
constexpr SModbusMap WithPower(SModbusMap map, SModbusQuantity power) {
  map.power = power;
  return map;
}
constexpr SModbusMap OfOnePhase(SModbusMap map) {
  map.phases = 1;
  return map;
}
constexpr SModbusMap InRequestsOf(std::uint16_t mostRegisters, SModbusMap map) {
  map.mostRegisters = mostRegisters;
  return map;
}

constexpr SModbusMap kAbb{.voltage = U32(0x5b00, 0.1), .current = U32(0x5b0c, 0.01)};
constexpr SModbusMap kCarloGavazzi{.table = kInput,
                                   .mostRegisters = 50,
                                   .voltage = S32LowFirst(0x0000, 0.1),
                                   .current = S32LowFirst(0x000c, 0.001),
                                   .power = S32LowFirst(0x0012, 0.1)};
constexpr SModbusMap kEastron{.table = kInput,
                              .mostRegisters = 60,
                              .voltage = F32(0x0000),
                              .current = F32(0x0006),
                              .power = F32(0x000c)};
constexpr SModbusMap kJanitza{.voltage = F32(0x4a38), .current = F32(0x4a44), .power = F32(0x4a4c)};

constexpr SModbusMeterModel kModels[] = {
    {.name = "abb_b21",
     .title = "ABB B21",
     .connectionKinds = kRtu,
     .onTrust = EOnTrust::Serial,
     .map = OfOnePhase(WithPower(kAbb, S32(0x5b14, 0.01)))},  // its total: that of the phase has no value
    {.name = "abb_b23",
     .title = "ABB B23, B24, A43, A44",
     .connectionKinds = kRtu,
     .onTrust = EOnTrust::Serial,
     .map = WithPower(kAbb, S32(0x5b16, 0.01))},
    {.name = "cg_em111",
     .title = "Carlo Gavazzi EM111, EM112",
     .connectionKinds = kRtu,
     .map = {.table = kInput,
             .phases = 1,
             .mostRegisters = 50,
             .voltage = S32LowFirst(0x0000, 0.1),
             .current = S32LowFirst(0x0002, 0.001),
             .power = S32LowFirst(0x0004, 0.1)}},
    {.name = "cg_em24_e1",
     .title = "Carlo Gavazzi EM24 Ethernet",
     .connectionKinds = kTcp,
     .map = kCarloGavazzi},
    {.name = "cg_em24_rs485",
     .title = "Carlo Gavazzi EM24 RS-485",
     .connectionKinds = kRtu,
     .map = InRequestsOf(11, kCarloGavazzi)},
    {.name = "cg_em340",
     .title = "Carlo Gavazzi EM330, EM340, EM341, EM530, EM540, ET330, ET340",
     .connectionKinds = kRtu,
     .map = kCarloGavazzi},
    {.name = "eastron_sdm120",
     .title = "Eastron SDM120",
     .connectionKinds = kRtu,
     .serial = {.baud = 2400},
     .map = OfOnePhase(kEastron)},
    {.name = "eastron_sdm230",
     .title = "Eastron SDM220, SDM230",
     .connectionKinds = kRtu,
     .onTrust = EOnTrust::Serial,
     .serial = {.baud = 2400},
     .map = OfOnePhase(kEastron)},
    {.name = "eastron_sdm630",
     .title = "Eastron SDM630, SDM72D-M v2, SDM54",
     .connectionKinds = kRtu,
     .map = kEastron},
    {.name = "eastron_sdm72dm_v1",
     .title = "Eastron SDM72D-M, first version",
     .connectionKinds = kRtu,
     .onTrust = EOnTrust::Map,
     .map = {.table = kInput, .mostRegisters = 60, .totalPower = F32(0x0034)}},
    {.name = "finder_7e78",
     .title = "Finder 7E.78, 7E.86",
     .connectionKinds = kTcp | kRtu,
     .onTrust = EOnTrust::MapAndSerial,
     .map = {.voltage = F32(0x1000), .current = F32(0x100e), .power = F32(0x1020)}},
    {.name = "finder_7m38",
     .title = "Finder 7M.38",
     .connectionKinds = kRtu,
     .onTrust = EOnTrust::Serial,
     .map = {.table = kInput, .voltage = F32(0x09c4), .current = F32(0x09d4), .power = F32(0x09e2)}},
    {.name = "inepro_pro380",
     .title = "Inepro PRO380-Mod, Klefr 693x, 694x",
     .connectionKinds = kRtu,
     .serial = {.parity = kEven},
     .map = {.voltage = F32(0x5002),
             .current = F32(0x500c),
             .power = F32(0x5014, 1000),
             .readAlong = SModbusRange{0x5012, 0x5013}}},  // the total
    {.name = "janitza_b23",
     .title = "Janitza B23 312, 313",
     .connectionKinds = kRtu,
     .onTrust = EOnTrust::MapAndSerial,
     .map = kJanitza},
    {.name = "janitza_umg",
     .title = "Janitza UMG 96RM, 604, 511",
     .connectionKinds = kTcp | kRtu,
     .onTrust = EOnTrust::Serial,
     .serial = {.stopBits = 2},
     .map = kJanitza},
    {.name = "kostal_ksem",
     .title = "KOSTAL Smart Energy Meter, TQ EM4xx",
     .connectionKinds = kTcp | kRtu,
     .onTrust = EOnTrust::MapAndSerial,
     .map = {.voltage = SModbusQuantity{EModbusType::Unsigned32, 0x003e, 40, 0.001},
             .current = SModbusQuantity{EModbusType::Unsigned32, 0x003c, 40, 0.001},
             .power = SModbusQuantity{EModbusType::ImportExport32, 0x0028, 40, 0.1},
             .readAlong = SModbusRange{40, 145}}},
    {.name = "phoenix_ma370",
     .title = "Phoenix Contact EEM-MA370",
     .connectionKinds = kTcp | kRtu,
     .onTrust = EOnTrust::MapAndSerial,
     .map = {.voltage = F32(0x8006),
             .current = F32(0x800e),
             .power = F32(0x801e),
             .readAlong = SModbusRange{0x800c, 0x800d}}},  // the frequency
    {.name = "schneider_iem3155",
     .title = "Schneider iEM3155, iEM3255, iEM3355, iEM3x50",
     .connectionKinds = kRtu,
     .onTrust = EOnTrust::Serial,
     .serial = {.baud = 19200, .parity = kEven},
     // The numbers of the maker's manual less one.
     .map = {.voltage = F32(0x0bd3), .current = F32(0x0bb7), .power = F32(0x0bed, 1000)}},
    {.name = "siemens_pac2200",
     .title = "Siemens PAC2200",
     .connectionKinds = kTcp | kRtu,
     .unit = 126,
     .serial = {.baud = 19200, .stopBits = 2},
     .map = {.voltage = F32(0x0001), .current = F32(0x000d), .power = F32(0x0019)}},
    {.name = "sunspec_203",
     .title = "SunSpec meters with integer values",
     .connectionKinds = kTcp | kRtu,
     .onTrust = EOnTrust::Serial,
     .sunSpec = ESunSpec::Integers},
    {.name = "sunspec_213",
     .title = "SunSpec meters with floating-point values",
     .connectionKinds = kTcp | kRtu,
     .onTrust = EOnTrust::Serial,
     .sunSpec = ESunSpec::Floats},
};

static_assert(std::ranges::is_sorted(kModels, {}, &SModbusMeterModel::name));

}  // namespace

std::span<const SModbusMeterModel> ModbusMeterModels() {
  return kModels;
}

const SModbusMeterModel* FindModbusMeterModel(std::string_view lowerCaseName) {
  const auto* found = std::ranges::find(kModels, lowerCaseName, &SModbusMeterModel::name);
  return found == std::end(kModels) ? nullptr : found;
}
