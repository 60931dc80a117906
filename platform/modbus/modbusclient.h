#pragma once

#include <cstdint>
#include <memory>
#include <span>
#include <string>

#include "platform/worker/scheduler.h"

/// The tables of registers that a Modbus unit has; the codes are the protocol's functions that read them.
enum class EModbusTable : std::uint8_t { Holding = 3, Input = 4 };

/// What came of a Modbus request.
struct SModbusResult {
  enum class EKind : std::uint8_t {
    Ok,
    Refused,  ///< the unit answered with an exception: the connection is good, the request is not
    Lost      ///< no answer, or a wrong one: the connection has been given up
  };
  EKind kind = EKind::Ok;
  std::string reason;  ///< for people
  explicit operator bool() const { return kind == EKind::Ok; }
};

/// A connection to Modbus units, over TCP or a serial line. One thread at a time.
class IModbusClient {
 public:
  static constexpr Milliseconds kConnectTimeout{1000};
  /// For an answer as a whole, however slowly it trickles in; on a serial line, for its first byte.
  static constexpr Milliseconds kResponseTimeout{1000};
  /// In one request, by the protocol.
  static constexpr std::uint16_t kMostRegisters = 125;

  virtual ~IModbusClient() = default;

  /// Connects unless it is connected. Waits `kConnectTimeout` at most, and as long before it where a name has
  /// to be looked up.
  virtual SModbusResult Connect() = 0;
  virtual void Disconnect() = 0;
  /// Reads as many registers as there is room for, at most `kMostRegisters`, from a wire address on. Waits
  /// `kResponseTimeout` at most, and on a serial line for its turn before.
  virtual SModbusResult Read(EModbusTable table, std::uint8_t unit, std::uint16_t address,
                             std::span<std::uint16_t> registers) = 0;
};

struct SModbusTcpServer {
  std::string host;  ///< name or address
  std::uint16_t port = 502;
};

struct SModbusRtuLine {
  enum class EParity : char { None = 'N', Even = 'E', Odd = 'O' };

  std::string device;
  std::uint32_t baud = 9600;
  EParity parity = EParity::None;
  std::uint8_t stopBits = 1;
  /// The line switches its direction by itself: the device is not told to.
  bool autoDirection = false;

  bool operator==(const SModbusRtuLine&) const = default;
};

/// Makes clients. Those of one serial line take turns: one request at a time. Any thread.
class IModbusConnector {
 public:
  virtual ~IModbusConnector() = default;
  virtual std::unique_ptr<IModbusClient> CreateTcpClient(const SModbusTcpServer& server) = 0;
  /// All who use a device must want it with the same settings: their `Connect` says so when they do not.
  virtual std::unique_ptr<IModbusClient> CreateRtuClient(const SModbusRtuLine& line) = 0;
};
