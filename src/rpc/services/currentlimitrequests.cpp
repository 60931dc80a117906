#include "src/rpc/services/currentlimitrequests.h"

#include <cmath>
#include <cstdint>
#include <limits>
#include <utility>

#include "platform/log/log.h"
#include "platform/rpc/result.h"
#include "src/components/currentlimiter.h"
#include "src/limitationsources/limitationsource.h"
#include "src/limitationsources/limits.h"

namespace {

/// Truncates; what does not fit is clamped, since limits from configuration may be absurd.
std::int32_t ToMilliAmpere(float ampere) {
  constexpr float kTooHigh = 2147483648.0F;
  const float milliAmpere = ampere * kMilliAmperePerAmpere;
  if (std::isnan(milliAmpere)) return 0;
  if (milliAmpere >= kTooHigh) return std::numeric_limits<std::int32_t>::max();
  if (milliAmpere < -kTooHigh) return std::numeric_limits<std::int32_t>::min();
  return static_cast<std::int32_t>(milliAmpere);
}

void Fill(ipc::MCurrentControlLimit& message, const SLimitEntry& entry) {
  message.set_source(entry.source);
  message.set_limit(ToMilliAmpere(entry.current));
  message.set_number_of_phases(entry.phases);
}

}  // namespace

CCurrentLimitRequests::CCurrentLimitRequests(std::shared_ptr<CCurrentLimiter> limiter)
    : mLimiter(std::move(limiter)) {}

ipc::MResult CCurrentLimitRequests::SetCurrentLimit(const ipc::MCurrentControlLimit& request) {
  const auto source = request.source();
  LOG_DEBUG("CurrentControlService::SetCurrentLimit, Source {} received with limit {}mA, number of phases {}",
            SourceToString(source), request.limit(), request.number_of_phases());
  switch (SetterOf(source)) {
    case ESetter::Component:
      LOG_WARNING("Cannot directly set a limit from source: {}", static_cast<int>(source));
      return Rpc::Failure();
    case ESetter::Hidden:
      LOG_ERROR("Received source does not exist");
      return Rpc::Failure();
    case ESetter::Client:
      break;
  }
  if (request.limit() < 0) {
    LOG_WARNING("A limit of {} mA from source {} is negative, ignoring", request.limit(),
                SourceToString(source));
    return Rpc::Failure();
  }
  const float ampere = static_cast<float>(request.limit()) / kMilliAmperePerAmpere;
  const auto phases = request.number_of_phases();
  return Rpc::ToResult(phases == 1 || phases == 3
                           ? mLimiter->SetLimit(source, static_cast<std::uint8_t>(phases), ampere)
                           : mLimiter->SetLimitWithDefaultPhases(source, ampere));
}

ipc::MResult CCurrentLimitRequests::ClearCurrentLimit(const ipc::MCurrentControlLimit& request) {
  LOG_INFO("CurrentControlService::ClearCurrentLimit, Source received: {}", SourceToString(request.source()));
  return Rpc::ToResult(mLimiter->DeleteLimit(request.source()));
}

ipc::MCurrentControlLimit CCurrentLimitRequests::GetCurrentLimit() {
  LOG_DEBUG("CurrentControlService::GetCurrentLimit()");
  ipc::MCurrentControlLimit answer;
  Fill(answer, mLimiter->GetSetpoint());
  return answer;
}

ipc::MCurrentControlLimits CCurrentLimitRequests::GetLimits() {
  const auto explanation = mLimiter->Explain();
  ipc::MCurrentControlLimits answer;
  for (const auto& [entry, unchangedFor] : explanation.limits) {
    auto& limit = *answer.add_limits();
    limit.set_source(entry.source);
    limit.set_limit(ToMilliAmpere(entry.current));
    limit.set_number_of_phases(entry.phases);
    limit.set_unchanged_for_ms(unchangedFor.count());
  }
  answer.set_current_source(explanation.selection.source);
  answer.set_phase_source(explanation.selection.phaseSource);
  Fill(*answer.mutable_setpoint(), explanation.setpoint);
  Fill(*answer.mutable_runner_up(), explanation.runnerUp);
  return answer;
}
