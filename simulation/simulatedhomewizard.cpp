#include "simulation/simulatedhomewizard.h"

#include <algorithm>
#include <utility>

#include <fmt/format.h>

#include "platform/worker/worker.h"

class CSimulatedHomeWizard::CClient final : public IHttpClient {
 public:
  explicit CClient(CSimulatedHomeWizard& network) : mNetwork(network) {}
  SHttpAnswer Get(const std::string& url) override { return mNetwork.Get(url); }

 private:
  CSimulatedHomeWizard& mNetwork;
};

/// Looks at the network again and again, for devices that have come, come back or changed.
class CSimulatedHomeWizard::CSearch final : public ISearch {
 public:
  CSearch(CSimulatedHomeWizard& network, FoundHandler found)
      : mNetwork(network), mFound(std::move(found)), mWorker(network.mScheduler, "search") {
    ++mNetwork.mSearchesInBeing;
    mTurns = mWorker.AddCall([this] { Look(); }, Milliseconds{0}, kAnnouncing);
    mWorker.Start();
  }
  ~CSearch() override {
    mWorker.Stop();
    --mNetwork.mSearchesInBeing;
  }
  CSearch(const CSearch&) = delete;
  CSearch& operator=(const CSearch&) = delete;

 private:
  void Look() {
    std::vector<SPlaced> seen;
    for (const auto& [placed, meter] : mNetwork.mEntries) {
      if (meter->Fate() == CHouseMeter::EFate::Away) continue;
      seen.push_back(placed);
      if (std::ranges::find(mSeen, placed) != mSeen.end()) continue;
      mFound(HomeWizardPages::Announced(placed.device, placed.address, placed.port));
    }
    mSeen = std::move(seen);
  }

  CSimulatedHomeWizard& mNetwork;
  const FoundHandler mFound;
  std::vector<SPlaced> mSeen;
  CCallHandle mTurns;
  CWorker mWorker;
};

void CSimulatedHomeWizard::Place(const SPlaced& placed, CHouseMeter& meter) {
  std::erase_if(mEntries, [&placed](const SEntry& entry) {
    return entry.placed.device.serial == placed.device.serial;
  });
  mEntries.push_back({placed, &meter});
}

HttpClientCreator CSimulatedHomeWizard::Clients() {
  return [this] { return std::make_unique<CClient>(*this); };
}

std::unique_ptr<IServiceDiscovery::ISearch> CSimulatedHomeWizard::Search(const std::string& serviceType,
                                                                         FoundHandler found,
                                                                         std::string& reason) {
  ++mSearches;
  reason = serviceType == HomeWizardPages::kServiceType ? mSearchFailure : "nobody announces " + serviceType;
  return reason.empty() ? std::make_unique<CSearch>(*this, std::move(found)) : nullptr;
}

SHttpAnswer CSimulatedHomeWizard::Get(const std::string& url) {
  ++mRequests;
  for (const auto& [placed, meter] : mEntries) {
    const std::string root = fmt::format("http://{}:{}", placed.address, placed.port);
    if (!url.starts_with(root + "/")) continue;
    const auto page = HomeWizardPages::Get(*meter, placed.device, url.substr(root.size()));
    if (page) return {.failure = {}, .status = page->status, .body = page->body};
  }
  return {.failure = "Connection refused", .status = 0, .body = {}};
}
