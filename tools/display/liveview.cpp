#include "tools/display/liveview.h"

namespace {

// What a terminal understands as orders.
constexpr std::string_view kClearAll = "\x1b[2J";
constexpr std::string_view kToTop = "\x1b[H";
constexpr std::string_view kClearRestOfLine = "\x1b[K";
constexpr std::string_view kClearRest = "\x1b[J";

}  // namespace

void CLiveView::Show(std::string_view text) {
  if (!mIsTerminal) {
    mOut << text << std::flush;
    return;
  }
  if (!mShown) mOut << kClearAll;
  mShown = true;
  mOut << kToTop;
  // Line by line over what stands there: clearing everything first would flicker.
  while (!text.empty()) {
    const std::size_t end = text.find('\n');
    mOut << text.substr(0, end) << kClearRestOfLine << '\n';
    text.remove_prefix(end == std::string_view::npos ? text.size() : end + 1);
  }
  mOut << kClearRest << std::flush;
}
