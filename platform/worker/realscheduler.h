#pragma once

#include "platform/worker/scheduler.h"

/// Real time: the steady clock, and a thread for every worker. Any thread.
class CRealScheduler final : public IScheduler {
 public:
  TimePoint Now() const override;
  std::unique_ptr<ICallLine> CreateCallLine(const std::string& name) override;
  std::unique_ptr<IEvent> CreateEvent() override;
};
