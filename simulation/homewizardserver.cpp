#include "simulation/homewizardserver.h"

#include <cerrno>
#include <string_view>
#include <system_error>
#include <utility>

#include <arpa/inet.h>
#include <microhttpd.h>
#include <netinet/in.h>

#include "platform/log/log.h"

namespace {

constexpr unsigned int kSecondsForRequest = 5;

MHD_Result Answer(CHouseMeter& meter, const HomeWizardPages::SDevice& device, MHD_Connection* connection,
                  const char* url, std::string_view method) {
  auto page = HomeWizardPages::Get(meter, device, url);
  if (!page) return MHD_NO;  // hangs up
  if (method != MHD_HTTP_METHOD_GET) page = {MHD_HTTP_METHOD_NOT_ALLOWED, ""};
  MHD_Response* response =
      MHD_create_response_from_buffer(page->body.size(), page->body.data(), MHD_RESPMEM_MUST_COPY);
  if (response == nullptr) return MHD_NO;
  MHD_add_response_header(response, MHD_HTTP_HEADER_CONTENT_TYPE, "application/json");
  const MHD_Result result = MHD_queue_response(connection, page->status, response);
  MHD_destroy_response(response);
  return result;
}

}  // namespace

void CHomeWizardServer::SFree::operator()(MHD_Daemon* daemon) const {
  MHD_stop_daemon(daemon);
}

CHomeWizardServer::CHomeWizardServer(IScheduler& scheduler, CHouseMeter& meter, SOptions options)
    : mMeter(meter), mOptions(std::move(options)), mPort(mOptions.port), mWorker(scheduler, "homewizard") {}

CHomeWizardServer::~CHomeWizardServer() {
  Stop();
}

bool CHomeWizardServer::Start() {
  mWorker.Start();
  mWorker.BlockingCall([this] {
    Turn();
    mTurns = mWorker.AddCall([this] { Turn(); }, kLook, kLook);
  });
  return !mHasFailed;
}

void CHomeWizardServer::Stop() {
  mWorker.Stop();
  mTurns.Cancel();
  Close();
}

void CHomeWizardServer::Turn() {
  const bool isAway = mMeter.Fate() == CHouseMeter::EFate::Away;
  if (isAway) Close();
  if (!isAway && !mDaemon && Listen()) Announce();
}

bool CHomeWizardServer::Listen() {
  mDaemon = CreateDaemon();
  if (mDaemon) {
    mPort = MHD_get_daemon_info(mDaemon.get(), MHD_DAEMON_INFO_BIND_PORT)->port;
    LOG_INFO("The HomeWizard meter {} listens at port {}", mOptions.device.serial, mPort.load());
  } else if (!mHasFailed) {
    LOG_ERROR("The HomeWizard meter {} cannot listen at port {}: {}", mOptions.device.serial, mPort.load(),
              std::generic_category().message(errno));
  }
  mHasFailed = !mDaemon;
  return !mHasFailed;
}

CHomeWizardServer::Daemon CHomeWizardServer::CreateDaemon() {
  sockaddr_in address{};
  address.sin_family = AF_INET;
  address.sin_port = htons(mPort);
  address.sin_addr.s_addr = htonl(mOptions.isOnAllInterfaces ? INADDR_ANY : INADDR_LOOPBACK);
  const auto answer = [](void* self, MHD_Connection* connection, const char* url, const char* method,
                         const char*, const char*, std::size_t*, void**) {
    const auto& server = *static_cast<const CHomeWizardServer*>(self);
    return Answer(server.mMeter, server.mOptions.device, connection, url, method);
  };
  return Daemon(MHD_start_daemon(MHD_USE_INTERNAL_POLLING_THREAD | MHD_USE_AUTO, mPort, nullptr, nullptr,
                                 answer, this, MHD_OPTION_SOCK_ADDR, &address, MHD_OPTION_CONNECTION_TIMEOUT,
                                 kSecondsForRequest, MHD_OPTION_END));
}

void CHomeWizardServer::Announce() {
  if (!mOptions.isOnAllInterfaces) return;
  std::string reason;
  mAnnouncement = AnnounceService(HomeWizardPages::kServiceType,
                                  HomeWizardPages::Announced(mOptions.device, "", mPort), reason);
  if (!mAnnouncement)
    LOG_INFO("The HomeWizard meter {} is not announced: {}", mOptions.device.serial, reason);
}

void CHomeWizardServer::Close() {
  mAnnouncement.reset();
  mDaemon.reset();
}
