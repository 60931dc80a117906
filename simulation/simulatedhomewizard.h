#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "platform/http/httpclient.h"
#include "platform/mdns/servicediscovery.h"
#include "platform/worker/scheduler.h"
#include "simulation/homewizardpages.h"

/// A network with HomeWizard devices on it where there is no network: for virtual time. What asks it and
/// searches it must be gone before it is. One thread.
class CSimulatedHomeWizard final : public IServiceDiscovery {
 public:
  /// How often a search sees what has changed.
  static constexpr Milliseconds kAnnouncing{500};

  struct SPlaced {
    std::string address;
    std::uint16_t port = 80;
    HomeWizardPages::SDevice device{};

    bool operator==(const SPlaced&) const = default;
  };

  explicit CSimulatedHomeWizard(IScheduler& scheduler) : mScheduler(scheduler) {}

  /// Adds a device, or moves the one with its serial number. The meter must outlive this.
  void Place(const SPlaced& placed, CHouseMeter& meter);
  /// Searches fail for this reason from now on; an empty reason: they work again. Those in being go on.
  void FailSearches(std::string reason) { mSearchFailure = std::move(reason); }

  /// Ways to ask it, which must not outlive it.
  HttpClientCreator Clients();
  std::unique_ptr<ISearch> Search(const std::string& serviceType, FoundHandler found,
                                  std::string& reason) override;

  /// How many requests there were, answered or not.
  std::uint32_t Requests() const { return mRequests; }
  std::uint32_t Searches() const { return mSearches; }
  bool IsSearched() const { return mSearchesInBeing > 0; }

 private:
  class CClient;
  class CSearch;

  struct SEntry {
    SPlaced placed;
    CHouseMeter* meter;
  };

  SHttpAnswer Get(const std::string& url);

  IScheduler& mScheduler;
  std::vector<SEntry> mEntries;
  std::string mSearchFailure;
  std::uint32_t mRequests = 0;
  std::uint32_t mSearches = 0;
  std::uint32_t mSearchesInBeing = 0;
};
