#pragma once

#include <cstdint>
#include <functional>
#include <map>
#include <memory>
#include <string>

/// A service that somebody on the local network announces.
struct SFoundService {
  std::string instance;  ///< its name, for people
  std::string address;   ///< IPv4, as text
  std::uint16_t port = 0;
  std::map<std::string, std::string> properties;  ///< of its TXT record; keys in lower case
};

/// Finds services on the local network by multicast DNS. Any thread.
class IServiceDiscovery {
 public:
  /// Called on a thread of the discovery's own for each service that is there or appears, again when it
  /// announces something new.
  using FoundHandler = std::function<void(const SFoundService&)>;

  /// A search that goes on. When it is destroyed the handler is not running any more.
  class ISearch {
   public:
    virtual ~ISearch() = default;
  };

  virtual ~IServiceDiscovery() = default;

  /// `serviceType` as in "_hwenergy._tcp". Null, and a reason, when nothing can be found now: later may be
  /// another matter.
  virtual std::unique_ptr<ISearch> Search(const std::string& serviceType, FoundHandler found,
                                          std::string& reason) = 0;
};

/// For machines on which nothing can be discovered.
class CNoServiceDiscovery final : public IServiceDiscovery {
 public:
  std::unique_ptr<ISearch> Search(const std::string&, FoundHandler, std::string& reason) override {
    reason = "this build finds no services on the network";
    return nullptr;
  }
};

/// The machine's own, where the build has one. Never null.
std::shared_ptr<IServiceDiscovery> CreateServiceDiscovery();
