#pragma once

#include <atomic>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "platform/rpc/service.h"

namespace Rpc {

/// The services that are offered under one address, as the server side of a backend uses them. Any thread.
class CServiceTable {
 public:
  struct SMethod {
    std::size_t service = 0;                          ///< index of the service that has it
    const CService::UnaryHandler* handler = nullptr;  ///< null: no such method with one answer
    std::shared_ptr<CNotificationHub> notifications;  ///< null: no such subscription

    bool IsKnown() const { return handler != nullptr || notifications != nullptr; }
  };

  CServiceTable(std::string address, std::vector<std::shared_ptr<CService>> services);

  /// An unknown method is one warning for the lifetime of the table.
  SMethod Find(std::string_view path);

  /// False: the request is no message of the method's type, which is one warning for the lifetime of the
  /// table. What a handler throws ends the process here.
  bool Handle(const SMethod& method, std::string_view path, std::string_view request,
              std::string& response) noexcept;

 private:
  const std::string mAddress;
  const std::vector<std::shared_ptr<CService>> mServices;
  std::atomic<bool> mUnknownTold{false};
  std::atomic<bool> mMalformedTold{false};
};

}  // namespace Rpc
