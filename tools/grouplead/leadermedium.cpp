#include "tools/grouplead/leadermedium.h"

#include <fmt/format.h>

#include "platform/koconfig/koconfig.h"
#include "platform/utility/wipe.h"
#include "src/communication/ethernetcommunication.h"
#include "src/components/loadbalancing/lbencryptedpacketparser.h"
#include "src/components/loadbalancing/lbpacketparser.h"
#include "src/components/loadbalancing/loadbalancing.h"
#include "src/components/loadbalancing/loadbalancingconfig.h"
#include "tools/display/options.h"

namespace {

void CheckIsThere(IFiles& files, const std::filesystem::path& path) {
  std::string text;
  const CWipeAtEnd wiping(text);
  if (const SFileError error = files.Read(path, text))
    throw CUsageError(fmt::format("cannot read secrets {}: {}", path.string(), error.reason));
}

std::unique_ptr<ILbPacketParser> CreateEncryption(const SGroupLeadOptions& options, IScheduler& scheduler,
                                                  IFiles& files, const SGroupAccess& access) {
  CheckIsThere(files, options.secrets);
  const auto secrets =
      KoConfig::CreateReadOnly(scheduler, files, options.secrets, KoConfig::EContents::Secret);
  // Only the secrets are read here, so they stand in for the settings and the board's file, too.
  std::string password = CLoadBalancingConfig(secrets, secrets, secrets).GetPassword();
  const CWipeAtEnd wiping(password);
  if (password.empty()) {
    throw CUsageError(
        fmt::format("{} holds no \"GroupLoadBalancingPassword\", or an empty one", options.secrets.string()));
  }
  auto parser = std::make_unique<CLbEncryptedPacketParser>(access.createRandom());
  if (!parser->Initialize(password, options.group)) throw CCannotLead("the encryption cannot be set up");
  return parser;
}

SLeaderMedium CreateNetworkMedium(const SGroupLeadOptions& options, IScheduler& scheduler, IFiles& files,
                                  const SGroupAccess& access) {
  if (access.network->FindInterfaceIndex(options.adapter) == 0)
    throw CCannotLead(fmt::format("there is no network adapter '{}'; `ip link` lists them", options.adapter));
  auto parser = options.plain ? std::make_unique<CLbPacketParser>()
                              : CreateEncryption(options, scheduler, files, access);
  return {.communication = std::make_shared<CEthernetCommunication>(
              CEthernetCommunication::SSurroundings{
                  .scheduler = scheduler, .network = *access.network, .random = access.createRandom()},
              options.adapter, CLoadBalancing::kPort, options.group),
          .parser = std::move(parser)};
}

}  // namespace

SLeaderMedium CreateLeaderMedium(const SGroupLeadOptions& options, IScheduler& scheduler, IFiles& files,
                                 const SGroupAccess& access) {
  if (!options.adapter.empty()) return CreateNetworkMedium(options, scheduler, files, access);
  return {
      .communication = access.createRs485({.path = options.line, .autoDirection = options.isLineAutomatic}),
      .parser = std::make_unique<CLbPacketParser>()};
}
