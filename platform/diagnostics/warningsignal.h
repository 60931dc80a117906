#pragma once

#include <memory>

class CDiagnosticsSignal;

/// A boolean signal that is sent when it changes. Lowered at first, without saying so. One thread.
class CWarningSignal {
 public:
  explicit CWarningSignal(std::shared_ptr<CDiagnosticsSignal> signal);

  /// True when it changed.
  bool Set(bool raised);
  /// Lowers it and sends that in any case.
  void Reset();

 private:
  const std::shared_ptr<CDiagnosticsSignal> mSignal;
  bool mIsRaised = false;
};
