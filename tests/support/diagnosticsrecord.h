#pragma once

#include <map>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include <fmt/ranges.h>

#include "ipc/diagnostics.pb.h"

#include "platform/diagnostics/diagnosticscommclient.h"
#include "platform/diagnostics/diagnosticssignal.h"
#include "platform/rpc/client.h"
#include "platform/worker/virtualscheduler.h"

/// Makes signals and notes what each of them reports, as text. One thread.
class CDiagnosticsRecord {
 public:
  using Reports = std::map<std::uint32_t, std::vector<std::string>>;

  explicit CDiagnosticsRecord(CVirtualScheduler& scheduler)
      : mScheduler(scheduler),
        mClient(std::make_shared<CDiagnosticsCommClient>(
            scheduler, std::make_shared<Rpc::CClient>("Diagnostics", std::make_unique<CPeer>(mReports)))) {
    mClient->Start();
  }
  ~CDiagnosticsRecord() { mClient->Stop(); }
  CDiagnosticsRecord(const CDiagnosticsRecord&) = delete;
  CDiagnosticsRecord& operator=(const CDiagnosticsRecord&) = delete;

  std::shared_ptr<CDiagnosticsSignal> Signal(const CSignalDefinition& definition) {
    return std::make_shared<CDiagnosticsSignal>(definition, mClient);
  }

  /// What each signal said since the last time.
  Reports Take() {
    mScheduler.RunDue();
    return std::exchange(mReports, {});
  }

 private:
  class CPeer final : public Rpc::IChannel {
   public:
    explicit CPeer(Reports& reports) : mReports(reports) {}

    SAnswer Call(std::string_view, std::string_view request, Milliseconds) override {
      ipc::MDiagnosticsSignal signal;
      signal.ParseFromArray(request.data(), static_cast<int>(request.size()));
      mReports[signal.number()].push_back(ToText(signal));
      return {Rpc::EStatus::Ok, "", ipc::MResult().SerializeAsString()};
    }
    std::unique_ptr<ISubscription> Subscribe(std::string_view, std::string, SSubscriber) override {
      return {};
    }

   private:
    static std::string ToText(const ipc::MDiagnosticsSignal& signal) {
      if (signal.has_boolean()) return signal.boolean() ? "true" : "false";
      if (signal.has_floats()) return fmt::format("{}", fmt::join(signal.floats().values(), " "));
      return signal.has_event() ? signal.event() : signal.text();
    }

    Reports& mReports;
  };

  CVirtualScheduler& mScheduler;
  Reports mReports;
  const std::shared_ptr<CDiagnosticsCommClient> mClient;
};
