#include "platform/diagnostics/warningsignal.h"

#include <utility>

#include "platform/diagnostics/diagnosticssignal.h"

CWarningSignal::CWarningSignal(std::shared_ptr<CDiagnosticsSignal> signal) : mSignal(std::move(signal)) {}

bool CWarningSignal::Set(bool raised) {
  if (raised == mIsRaised) return false;
  mIsRaised = raised;
  mSignal->Send(raised);
  return true;
}

void CWarningSignal::Reset() {
  mIsRaised = false;
  mSignal->Send(false);
}
