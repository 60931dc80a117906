#include "platform/diagnostics/diagnosticssignal.h"

#include <algorithm>
#include <cmath>
#include <optional>
#include <utility>

#include "platform/diagnostics/diagnosticscommclient.h"
#include "platform/diagnostics/validtext.h"
#include "platform/log/log.h"

namespace {

std::string_view ToText(CSignalDefinition::EKind kind) {
  switch (kind) {
    case CSignalDefinition::EKind::Boolean:
      return "boolean";
    case CSignalDefinition::EKind::Text:
      return "text";
    case CSignalDefinition::EKind::Floats:
      return "floats";
    case CSignalDefinition::EKind::Event:
      return "event";
  }
  return "unknown";
}

bool HasMoved(float from, float to, float threshold) {
  if (std::isnan(from) || std::isnan(to)) return std::isnan(from) != std::isnan(to);
  return from != to && std::abs(from - to) >= threshold;
}

}  // namespace

/// What decides whether a list is worth sending, compared with the last one that was.
struct CDiagnosticsSignal::SReduction {
  bool MustSend(std::span<const float> values, TimePoint now) const {
    if (!lastSent || values.size() != last.size() || now - *lastSent >= resendInterval) return true;
    for (std::size_t index = 0; index < values.size() && !thresholds.empty(); ++index) {
      const float threshold = thresholds[std::min(index, thresholds.size() - 1)];
      if (HasMoved(last[index], values[index], threshold)) return true;
    }
    return false;
  }

  Milliseconds resendInterval;
  std::vector<float> thresholds;
  std::optional<TimePoint> lastSent{};
  std::vector<float> last{};
};

CDiagnosticsSignal::CDiagnosticsSignal(const CSignalDefinition& definition,
                                       std::shared_ptr<CDiagnosticsCommClient> client)
    : mDefinition(definition), mClient(std::move(client)) {}

void CDiagnosticsSignal::Reduce(Milliseconds resendInterval, std::vector<float> thresholds) {
  CMutexLock lock(mMutex);
  mReduction = std::make_shared<SReduction>(SReduction{resendInterval, std::move(thresholds)});
}

void CDiagnosticsSignal::Send(bool value) {
  if (!IsOf(CSignalDefinition::EKind::Boolean)) return;
  auto message = Message();
  message.set_boolean(value);
  mClient->Report(std::move(message));
}

void CDiagnosticsSignal::Send(std::span<const float> values) {
  if (!IsOf(CSignalDefinition::EKind::Floats)) return;
  // Held while the list is queued, so that what was sent last is what the comparison takes for it.
  CMutexLock lock(mMutex);
  if (mReduction) {
    const TimePoint now = mClient->Clock().Now();
    if (!mReduction->MustSend(values, now)) return;
    mReduction->last.assign(values.begin(), values.end());
    mReduction->lastSent = now;
  }
  auto message = Message();
  message.mutable_floats()->mutable_values()->Add(values.begin(), values.end());
  mClient->Report(std::move(message));
}

void CDiagnosticsSignal::SendText(std::string_view text) {
  if (!IsOf(CSignalDefinition::EKind::Text)) return;
  auto message = Message();
  message.set_text(ValidText(text));
  mClient->Report(std::move(message));
}

void CDiagnosticsSignal::SendEvent(std::string_view text) {
  if (!IsOf(CSignalDefinition::EKind::Event)) return;
  auto message = Message();
  message.set_event(ValidText(text));
  mClient->Report(std::move(message));
}

bool CDiagnosticsSignal::IsOf(CSignalDefinition::EKind kind) const {
  if (kind == mDefinition.kind) return true;
  LOG_ERROR("Diagnostics signal {} \"{}\": kind {} expected, {} given; not sent", mDefinition.number,
            mDefinition.name, ToText(mDefinition.kind), ToText(kind));
  return false;
}

ipc::MDiagnosticsSignal CDiagnosticsSignal::Message() const {
  ipc::MDiagnosticsSignal message;
  message.set_number(mDefinition.number);
  message.set_name(std::string(mDefinition.name));
  return message;
}
