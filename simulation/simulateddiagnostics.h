#pragma once

#include <cstdint>
#include <map>
#include <optional>

#include "ipc/diagnostics.service.h"

#include "platform/utility/mutex.h"

/// The diagnostics service: keeps the newest report of each signal. Any thread.
class CSimulatedDiagnostics final : public ipc::IDiagnostics {
 public:
  std::optional<ipc::MDiagnosticsSignal> Newest(std::uint32_t number) const {
    const CMutexLock lock(mMutex);
    const auto found = mNewest.find(number);
    return found == mNewest.end() ? std::nullopt : std::optional(found->second);
  }

  ipc::MResult Report(const ipc::MDiagnosticsSignal& signal) override {
    const CMutexLock lock(mMutex);
    mNewest.insert_or_assign(signal.number(), signal);
    return {};
  }

 private:
  mutable CMutex mMutex;
  std::map<std::uint32_t, ipc::MDiagnosticsSignal> mNewest GUARDED_BY(mMutex);
};
