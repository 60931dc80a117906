#include "platform/rpc/servicetable.h"

#include <algorithm>
#include <utility>

#include "platform/log/log.h"

namespace Rpc {

namespace {

/// A client's text made fit for a log line.
std::string Printable(std::string_view text) {
  constexpr std::size_t kLongest = 100;
  std::string printable(text.substr(0, kLongest));
  std::replace_if(
      printable.begin(), printable.end(), [](char character) { return character < ' ' || character > '~'; },
      '?');
  return printable;
}

}  // namespace

CServiceTable::CServiceTable(std::string address, std::vector<std::shared_ptr<CService>> services)
    : mAddress(std::move(address)), mServices(std::move(services)) {}

CServiceTable::SMethod CServiceTable::Find(std::string_view path) {
  for (std::size_t index = 0; index < mServices.size(); ++index) {
    SMethod method{index, mServices[index]->FindUnary(path), nullptr};
    if (method.handler == nullptr) method.notifications = mServices[index]->FindNotification(path);
    if (method.IsKnown()) return method;
  }
  if (!mUnknownTold.exchange(true)) {
    LOG_WARNING("A client of {} calls {}, which does not exist; such calls are refused", mAddress,
                Printable(path));
  }
  return {};
}

bool CServiceTable::Handle(const SMethod& method, std::string_view path, std::string_view request,
                           std::string& response) noexcept {
  if ((*method.handler)(request, response)) return true;
  if (!mMalformedTold.exchange(true)) {
    LOG_WARNING(
        "A client of {} calls {} with a request that is no message of its type; such calls are refused",
        mAddress, path);
  }
  return false;
}

}  // namespace Rpc
