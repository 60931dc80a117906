#pragma once

#include <memory>
#include <stdexcept>
#include <string>

#include "platform/rpc/client.h"
#include "platform/rpc/service.h"

namespace Rpc {

/// Why services cannot be offered; the text names the socket or address.
class CStartError : public std::runtime_error {
 public:
  using std::runtime_error::runtime_error;
};

/// The process's place on the local RPC network: services that it offers, peers that it calls. What carries
/// the calls is the backend's business; see `AppCommunicationHost`.
class ICommunicationHost {
 public:
  virtual ~ICommunicationHost() = default;

  /// Offers a service from `Start` on. Names ending in "GenCtrl" and "Log" belong to the process before the
  /// ending and share its address. Before `Start`, one thread.
  virtual void RegisterService(const std::string& name, std::shared_ptr<CService> service) = 0;

  /// Makes a way to a peer, which need not be there and keeps no caller waiting longer than the timeout. Any
  /// thread.
  virtual std::shared_ptr<CClient> CreateClient(const std::string& name, Milliseconds timeout) = 0;
  std::shared_ptr<CClient> CreateClient(const std::string& name) {
    return CreateClient(name, CClient::kTimeout);
  }

  /// Finds out whether the services can be offered, before the process has any effect on others: throws
  /// CStartError when another process serves at one of our addresses. `Start` looks again.
  virtual void CheckAddresses() = 0;

  /// Opens the offered services for calls. Throws CStartError.
  virtual void Start() = 0;

  /// Ends every running call and subscription of others and closes the services; no handler is running any
  /// more when it returns. Clients stay usable. Stopping twice does nothing.
  virtual void Stop() = 0;
};

}  // namespace Rpc
