#pragma once

#include <memory>
#include <span>
#include <string_view>
#include <vector>

#include "platform/diagnostics/signaldefinition.h"
#include "platform/utility/mutex.h"

class CDiagnosticsCommClient;
namespace ipc {
class MDiagnosticsSignal;
}

/// One signal that the service reports to the diagnostics peer. Sending never blocks and never fails: what
/// cannot be sent now is kept by the client, see there. Any thread.
class CDiagnosticsSignal {
 public:
  CDiagnosticsSignal(const CSignalDefinition& definition, std::shared_ptr<CDiagnosticsCommClient> client);

  /// Makes it a reduced signal: a list is sent when `resendInterval` has passed since the last one was, or
  /// when an element moved by its threshold or more. Elements without a threshold of their own share the last
  /// one. Lists of another length are always sent.
  void Reduce(Milliseconds resendInterval, std::vector<float> thresholds);

  /// The kind of value must be the definition's; another one is an error line and is not sent.
  void Send(bool value);
  void Send(std::span<const float> values);
  void SendText(std::string_view text);
  void SendEvent(std::string_view text);

 private:
  struct SReduction;

  bool IsOf(CSignalDefinition::EKind kind) const;
  ipc::MDiagnosticsSignal Message() const;

  const CSignalDefinition mDefinition;
  const std::shared_ptr<CDiagnosticsCommClient> mClient;
  CMutex mMutex;
  std::shared_ptr<SReduction> mReduction GUARDED_BY(mMutex);
};
