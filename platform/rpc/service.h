#pragma once

#include <functional>
#include <map>
#include <memory>
#include <string>
#include <string_view>

#include "platform/rpc/method.h"
#include "platform/rpc/notifier.h"

namespace Rpc {

/// An offered service as a backend sees it: serialised requests in, serialised answers out.
///
/// It is filled before the host starts and does not change afterwards. Handlers run on the backend's threads,
/// several at a time. What a handler throws ends the process.
class CService {
 public:
  /// False: the request is not a message of the expected type; nothing was done.
  using UnaryHandler = std::function<bool(std::string_view request, std::string& response)>;

  template <class TRequest, class TResponse, class THandler>
  void On(const SUnaryMethod<TRequest, TResponse>& method, THandler handler) {
    mUnary.insert_or_assign(std::string(method.path),
                            [handler = std::move(handler)](std::string_view bytes, std::string& response) {
                              TRequest request;
                              if (!request.ParseFromArray(bytes.data(), static_cast<int>(bytes.size())))
                                return false;
                              const TResponse answer = handler(request);
                              return answer.SerializeToString(&response);
                            });
  }

  template <class TRequest, class TNotification>
  void Offer(const SNotificationMethod<TRequest, TNotification>& method,
             const CNotifier<TNotification>& notifier) {
    mNotifications.insert_or_assign(std::string(method.path), notifier.Hub());
  }

  /// Null when the service has no such method.
  const UnaryHandler* FindUnary(std::string_view path) const {
    const auto found = mUnary.find(path);
    return found == mUnary.end() ? nullptr : &found->second;
  }
  std::shared_ptr<CNotificationHub> FindNotification(std::string_view path) const {
    const auto found = mNotifications.find(path);
    return found == mNotifications.end() ? nullptr : found->second;
  }

 private:
  std::map<std::string, UnaryHandler, std::less<>> mUnary;
  std::map<std::string, std::shared_ptr<CNotificationHub>, std::less<>> mNotifications;
};

}  // namespace Rpc
