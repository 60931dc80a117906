#include "platform/worker/realscheduler.h"

#include "platform/utility/mutex.h"
#include "platform/worker/realcallline.h"

namespace {

class CRealEvent final : public IEvent {
 public:
  void Set() override {
    CMutexLock lock(mMutex);
    mIsSet = true;
    mCondition.notify_all();
  }

  void Wait() override {
    CMutexLock lock(mMutex);
    while (!mIsSet) mCondition.wait(lock);
  }

 private:
  CMutex mMutex;
  CCondition mCondition;
  bool mIsSet GUARDED_BY(mMutex) = false;
};

}  // namespace

TimePoint CRealScheduler::Now() const {
  return std::chrono::steady_clock::now();
}

std::unique_ptr<ICallLine> CRealScheduler::CreateCallLine(const std::string& name) {
  return std::make_unique<CRealCallLine>(name);
}

std::unique_ptr<IEvent> CRealScheduler::CreateEvent() {
  return std::make_unique<CRealEvent>();
}
