#pragma once

/// The device below a listener: a descriptor that can be read, written and waited for. One thread at a time,
/// but `Descriptor` from any while the device is open.
class ICommunicationHal {
 public:
  virtual ~ICommunicationHal() = default;

  /// False, and an error line unless the attempt before failed for the same reason.
  virtual bool Open() = 0;
  /// Leaves the device as it was found. Harmless when it is not open.
  virtual void Close() = 0;
  /// Negative when it is not open.
  virtual int Descriptor() const = 0;
};
