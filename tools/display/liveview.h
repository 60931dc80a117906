#pragma once

#include <ostream>
#include <string_view>

/// Shows a text that changes: redrawn in place on a terminal, one after the other elsewhere. One thread.
class CLiveView {
 public:
  CLiveView(std::ostream& out, bool isTerminal) : mOut(out), mIsTerminal(isTerminal) {}

  /// The text ends with a line end.
  void Show(std::string_view text);

 private:
  std::ostream& mOut;
  const bool mIsTerminal;
  bool mShown = false;
};
