#include "platform/diagnostics/pendingreports.h"

#include <utility>

bool CPendingReports::Add(ipc::MDiagnosticsSignal message) {
  ++mLast;
  if (message.value_case() == ipc::MDiagnosticsSignal::kEvent) return AddEvent(std::move(message));
  const Place place = mPlaceOfSignal.try_emplace(message.number(), mLast).first->second;
  mReports.insert_or_assign(place, SReport{mLast, std::move(message)});
  return true;
}

bool CPendingReports::AddEvent(ipc::MDiagnosticsSignal message) {
  mPlacesOfEvents.push_back(mLast);
  mReports.emplace(mLast, SReport{mLast, std::move(message)});
  if (mPlacesOfEvents.size() <= mMostEvents) return true;
  mReports.erase(mPlacesOfEvents.front());
  mPlacesOfEvents.pop_front();
  return false;
}

void CPendingReports::Remove(const SReport& report) {
  if (report.message.value_case() == ipc::MDiagnosticsSignal::kEvent) {
    // An event that was dropped meanwhile is gone already.
    if (mReports.erase(report.version) != 0) mPlacesOfEvents.pop_front();
    return;
  }
  const auto signal = mPlaceOfSignal.find(report.message.number());
  auto sent = mReports.extract(signal->second);
  if (sent.mapped().version == report.version) {
    mPlaceOfSignal.erase(signal);
    return;
  }
  signal->second = ++mLast;
  sent.key() = mLast;
  mReports.insert(std::move(sent));
}
