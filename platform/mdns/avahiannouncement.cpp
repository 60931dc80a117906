#include "platform/mdns/avahiannouncement.h"

#include <utility>

#include <avahi-client/publish.h>
#include <avahi-common/alternative.h>
#include <avahi-common/error.h>
#include <avahi-common/malloc.h>
#include <avahi-common/strlst.h>

#include "platform/log/log.h"

namespace {

constexpr AvahiPublishFlags kNoFlags{};

struct SFree {
  void operator()(AvahiEntryGroup* group) const { avahi_entry_group_free(group); }
  void operator()(AvahiStringList* list) const { avahi_string_list_free(list); }
  void operator()(char* text) const { avahi_free(text); }
};

class CEntry final : public IAvahiUse {
 public:
  CEntry(std::string serviceType, SFoundService service)
      : mType(std::move(serviceType)), mService(std::move(service)) {}

  void Begin(AvahiClient* client) override {
    mGroup.reset(avahi_entry_group_new(
        client,
        [](AvahiEntryGroup* group, AvahiEntryGroupState state, void* self) {
          if (state == AVAHI_ENTRY_GROUP_COLLISION) static_cast<CEntry*>(self)->AddUnderAnotherName(group);
        },
        this));
    if (mGroup) Add(mGroup.get());
  }
  void End() override { mGroup.reset(); }

 private:
  void Add(AvahiEntryGroup* group) {
    std::unique_ptr<AvahiStringList, SFree> txt;
    for (const auto& [key, value] : mService.properties) {
      txt.reset(avahi_string_list_add_pair(txt.release(), key.c_str(), value.c_str()));
    }
    int error = avahi_entry_group_add_service_strlst(group, AVAHI_IF_UNSPEC, AVAHI_PROTO_INET, kNoFlags,
                                                     mService.instance.c_str(), mType.c_str(), nullptr,
                                                     nullptr, mService.port, txt.get());
    if (error == AVAHI_ERR_COLLISION) return AddUnderAnotherName(group);
    if (error == AVAHI_OK) error = avahi_entry_group_commit(group);
    if (error != AVAHI_OK) LOG_WARNING("avahi does not announce {}: {}", mType, avahi_strerror(error));
  }

  void AddUnderAnotherName(AvahiEntryGroup* group) {
    const std::unique_ptr<char, SFree> name(avahi_alternative_service_name(mService.instance.c_str()));
    mService.instance = name.get();
    avahi_entry_group_reset(group);
    Add(group);
  }

  // The loop's thread's.
  const std::string mType;
  SFoundService mService;
  std::unique_ptr<AvahiEntryGroup, SFree> mGroup;
};

}  // namespace

std::unique_ptr<CAvahiAnnouncement> CAvahiAnnouncement::Create(const std::string& serviceType,
                                                               const SFoundService& service,
                                                               std::string& reason) {
  auto loop = CAvahiLoop::Create(std::make_shared<CEntry>(serviceType, service), reason);
  if (!loop) return nullptr;
  return std::unique_ptr<CAvahiAnnouncement>(new CAvahiAnnouncement(std::move(loop)));
}
