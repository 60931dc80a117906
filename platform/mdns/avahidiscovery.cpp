#include "platform/mdns/avahidiscovery.h"

#include <string_view>
#include <utility>

#include <avahi-client/lookup.h>
#include <avahi-common/address.h>
#include <avahi-common/error.h>
#include <avahi-common/strlst.h>

#include "platform/log/log.h"
#include "platform/mdns/avahiloop.h"
#include "platform/mdns/txtrecord.h"
#include "platform/utility/mutex.h"
#include "platform/utility/text.h"

namespace {

/// More services of one type than a house has; whoever announces more of them is up to no good.
constexpr std::size_t kMostServices = 64;
constexpr AvahiLookupFlags kNoFlags{};

TxtRecord::Properties PropertiesOf(AvahiStringList* list) {
  TxtRecord::Properties properties;
  for (auto* entry = list; entry != nullptr; entry = avahi_string_list_get_next(entry)) {
    TxtRecord::Add(
        {reinterpret_cast<const char*>(avahi_string_list_get_text(entry)), avahi_string_list_get_size(entry)},
        properties);
  }
  return properties;
}

/// Browses, and keeps every service that there is resolved.
class CBrowsing final : public IAvahiUse {
 public:
  CBrowsing(std::string serviceType, IServiceDiscovery::FoundHandler found)
      : mType(std::move(serviceType)), mFound(std::move(found)) {}

  /// The handler is not running any more, and is not called again.
  void Forget() EXCLUDES(mMutex) {
    const CMutexLock lock(mMutex);
    mFound = nullptr;
  }

  void Begin(AvahiClient* client) override {
    mClient = client;
    mBrowser.reset(avahi_service_browser_new(
        client, AVAHI_IF_UNSPEC, AVAHI_PROTO_INET, mType.c_str(), nullptr, kNoFlags,
        [](AvahiServiceBrowser*, AvahiIfIndex interface, AvahiProtocol, AvahiBrowserEvent event,
           const char* name, const char*, const char* domain, AvahiLookupResultFlags, void* self) {
          if (name == nullptr) return;
          static_cast<CBrowsing*>(self)->OnBrowsed(event, {interface, name, domain});
        },
        this));
    if (!mBrowser)
      LOG_WARNING("avahi cannot browse {}: {}", mType, avahi_strerror(avahi_client_errno(client)));
  }
  void End() override {
    mResolvers.clear();
    mBrowser.reset();
  }

 private:
  struct SPlace {
    AvahiIfIndex interface;
    std::string name;
    std::string domain;
    auto operator<=>(const SPlace&) const = default;
  };
  struct SFree {
    void operator()(AvahiServiceBrowser* browser) const { avahi_service_browser_free(browser); }
    void operator()(AvahiServiceResolver* resolver) const { avahi_service_resolver_free(resolver); }
  };

  void OnBrowsed(AvahiBrowserEvent event, const SPlace& place) {
    if (event == AVAHI_BROWSER_REMOVE) mResolvers.erase(place);
    if (event == AVAHI_BROWSER_NEW && mResolvers.size() < kMostServices) Resolve(place);
  }

  /// A resolver tells of every change.
  void Resolve(const SPlace& place) {
    auto& resolver = mResolvers[place];
    resolver.reset();
    resolver.reset(avahi_service_resolver_new(
        mClient, place.interface, AVAHI_PROTO_INET, place.name.c_str(), mType.c_str(), place.domain.c_str(),
        AVAHI_PROTO_INET, kNoFlags,
        [](AvahiServiceResolver*, AvahiIfIndex interface, AvahiProtocol, AvahiResolverEvent event,
           const char* name, const char*, const char* domain, const char*, const AvahiAddress* address,
           std::uint16_t port, AvahiStringList* txt, AvahiLookupResultFlags, void* self) {
          auto& browsing = *static_cast<CBrowsing*>(self);
          if (event == AVAHI_RESOLVER_FAILURE) return browsing.Resolve({interface, name, domain});
          browsing.OnResolved(name, *address, port, txt);
        },
        this));
    if (resolver) return;
    mResolvers.erase(place);  // which makes room for another
    LOG_WARNING("avahi cannot resolve \"{}\": {}", Text::InOneLine(place.name),
                avahi_strerror(avahi_client_errno(mClient)));
  }

  void OnResolved(const char* name, const AvahiAddress& address, std::uint16_t port, AvahiStringList* txt)
      EXCLUDES(mMutex) {
    if (address.proto != AVAHI_PROTO_INET) return;
    char text[AVAHI_ADDRESS_STR_MAX];
    avahi_address_snprint(text, sizeof text, &address);
    const SFoundService service{
        .instance = name, .address = text, .port = port, .properties = PropertiesOf(txt)};
    const CMutexLock lock(mMutex);
    if (mFound) mFound(service);
  }

  const std::string mType;
  CMutex mMutex;
  IServiceDiscovery::FoundHandler mFound GUARDED_BY(mMutex);

  // The loop's thread's.
  AvahiClient* mClient = nullptr;
  std::unique_ptr<AvahiServiceBrowser, SFree> mBrowser;
  std::map<SPlace, std::unique_ptr<AvahiServiceResolver, SFree>> mResolvers;
};

class CAvahiSearch final : public IServiceDiscovery::ISearch {
 public:
  CAvahiSearch(std::shared_ptr<CBrowsing> browsing, std::unique_ptr<CAvahiLoop> loop)
      : mBrowsing(std::move(browsing)), mLoop(std::move(loop)) {}
  ~CAvahiSearch() override { mBrowsing->Forget(); }
  CAvahiSearch(const CAvahiSearch&) = delete;
  CAvahiSearch& operator=(const CAvahiSearch&) = delete;

 private:
  const std::shared_ptr<CBrowsing> mBrowsing;
  const std::unique_ptr<CAvahiLoop> mLoop;
};

}  // namespace

std::unique_ptr<IServiceDiscovery::ISearch> CAvahiDiscovery::Search(const std::string& serviceType,
                                                                    FoundHandler found, std::string& reason) {
  const auto browsing = std::make_shared<CBrowsing>(serviceType, std::move(found));
  auto loop = CAvahiLoop::Create(browsing, reason);
  if (!loop) {
    browsing->Forget();
    return nullptr;
  }
  return std::make_unique<CAvahiSearch>(browsing, std::move(loop));
}
