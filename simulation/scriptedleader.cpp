#include "simulation/scriptedleader.h"

#include <chrono>
#include <utility>

namespace {

/// After the reset, so that it is not overtaken.
constexpr Milliseconds kFirstDiscovery{100};
constexpr Milliseconds kFirstLimits{400};

using SRequest = CLeaderLane::SRequest;

/// What is answered by that; nothing: it answers no request to one station.
std::optional<ELbMessage> RequestOf(ELbMessage answer) {
  switch (answer) {
    case ELbMessage::InfoAnswer:
      return ELbMessage::InfoRequest;
    case ELbMessage::FallbackAnswer:
      return ELbMessage::FallbackRequest;
    case ELbMessage::LimitAnswer:
      return ELbMessage::LimitRequest;
    default:
      return std::nullopt;
  }
}

}  // namespace

CScriptedLeader::CScriptedLeader(IScheduler& scheduler, std::shared_ptr<ICommunicationListener> communication,
                                 std::unique_ptr<ILbPacketParser> parser, SSettings settings)
    : mClock(scheduler),
      mCommunication(std::move(communication)),
      mParser(std::move(parser)),
      mSettings(std::move(settings)),
      mWillForAll{.milliAmpere = mSettings.milliAmpere},
      mWorker(scheduler, "CScriptedLeader") {
  for (const LbSerialNumber& serialNumber : mSettings.stations) mStations[serialNumber];
}

CScriptedLeader::~CScriptedLeader() {
  Stop();
}

bool CScriptedLeader::Start() {
  mParser->SetMessageHandler([this](const SLbMessage& message, const std::shared_ptr<Endpoint>& endpoint) {
    mWorker.NonBlockingCall([this, message, endpoint] { OnMessage(message, endpoint); });
  });
  mCommunication->SetDataReceivedHandler(
      [this](const std::shared_ptr<Endpoint>& endpoint) { mParser->Parse(endpoint); });
  if (!mCommunication->Start()) return false;
  mWorker.Start();
  return mWorker.BlockingCall([this] { Begin(); });
}

void CScriptedLeader::Stop() {
  mWorker.Stop();
  mCommunication->Stop();
  mCommunication->SetDataReceivedHandler({});
}

void CScriptedLeader::Begin() {
  Broadcast(LbMessages::Reset());
  mPlanned.push_back(mWorker.AddCall([this] { Discover(); }, kFirstDiscovery, kDiscoveryPeriod));
  mPlanned.push_back(mWorker.AddCall([this] { TellLimits(); }, kFirstLimits, kLimitPeriod));
  for (const SLeaderScript::SEvent& event : mSettings.script.events) {
    mPlanned.push_back(
        mWorker.AddCall([this, &event] { Obey(event.order); }, event.at, mSettings.script.repeat));
  }
}

void CScriptedLeader::Order(const SLeaderOrder& order) {
  mWorker.NonBlockingCall([this, order] { Obey(order); });
}

void CScriptedLeader::Obey(const SLeaderOrder& order) {
  const auto change = [&order](SWill& will) {
    will.milliAmpere = order.milliAmpere.value_or(will.milliAmpere);
    will.isPhaseDiscovery = order.isPhaseDiscovery.value_or(will.isPhaseDiscovery);
    will.isSilent = order.isSilent.value_or(will.isSilent);
  };
  if (order.station) return change(mWillForOne.try_emplace(*order.station, mWillForAll).first->second);
  change(mWillForAll);
  for (auto& [station, will] : mWillForOne) change(will);
}

void CScriptedLeader::Broadcast(const SLbMessage& message) {
  const auto packet = mParser->Serialize(message, nullptr);
  if (!packet.empty()) mCommunication->BroadcastData(packet);
}

void CScriptedLeader::Discover() {
  if (mWillForAll.isSilent) return;
  const SRequest discovery{.id = ELbMessage::Discovery};
  if (IsLine()) return LaneOf({}).Add(discovery);  // all who answer do so at once
  Send(discovery);
}

void CScriptedLeader::TellLimits() {
  for (const auto& [serialNumber, station] : mStations) Ask(serialNumber, station);
}

void CScriptedLeader::Ask(const LbSerialNumber& serialNumber, const SStation& station) {
  if (WillFor(serialNumber).isSilent || (!IsLine() && !station.endpoint)) return;
  CLeaderLane& lane = LaneOf(serialNumber);
  if (!station.isInfoKnown) lane.Add({ELbMessage::InfoRequest, serialNumber});
  if (!station.row.fallbackMilliAmpere) lane.Add({ELbMessage::FallbackRequest, serialNumber});
  lane.Add({ELbMessage::LimitRequest, serialNumber});
}

void CScriptedLeader::Send(const SRequest& request) {
  const SLbMessage message = Compose(request);
  if (IsLine() || request.id == ELbMessage::Discovery) return Broadcast(message);
  Endpoint& endpoint = *mStations[request.station].endpoint;
  const auto packet = mParser->Serialize(message, &endpoint);
  if (!packet.empty()) endpoint.SendData(packet);
}

SLbMessage CScriptedLeader::Compose(const SRequest& request) {
  switch (request.id) {
    case ELbMessage::Discovery:
      return LbMessages::Write(LbMessages::SDiscovery{});
    case ELbMessage::InfoRequest:
      return LbMessages::InfoRequest(request.station);
    case ELbMessage::FallbackRequest:
      return LbMessages::FallbackRequest(request.station);
    default:
      break;
  }
  const SWill& will = WillFor(request.station);
  SRow& row = mStations[request.station].row;
  row.toldMilliAmpere = will.milliAmpere;
  row.isPhaseDiscovery = will.isPhaseDiscovery;
  return LbMessages::Write(
      LbMessages::SLimitRequest{.serialNumber = request.station,
                                .milliAmpere = will.milliAmpere,
                                .flags = will.isPhaseDiscovery ? kLbPhaseDiscoveryFlag : std::uint8_t{0}});
}

void CScriptedLeader::OnMessage(const SLbMessage& message, const std::shared_ptr<Endpoint>& endpoint) {
  const auto id = static_cast<ELbMessage>(message.Id());
  const auto answered = RequestOf(id);
  const bool isDiscovery = id == ELbMessage::DiscoveryAnswer && !IsLine();
  if (!answered && !isDiscovery) return;
  const LbSerialNumber serialNumber = LbMessages::SerialNumberOf(message);
  if (!isDiscovery && !mStations.contains(serialNumber)) return;
  SStation& station = mStations[serialNumber];
  // Wherever it speaks from now, it is answered.
  if (!IsLine()) station.endpoint = endpoint;
  station.row.address = endpoint->ToString();
  station.heard = mClock.Now();
  TakeContent(message, station);
  if (answered) LaneOf(serialNumber).TakeAnswer({*answered, serialNumber});
  if (isDiscovery) Ask(serialNumber, station);
}

void CScriptedLeader::TakeContent(const SLbMessage& message, SStation& station) {
  switch (static_cast<ELbMessage>(message.Id())) {
    case ELbMessage::DiscoveryAnswer:  // it may be another one by now
      station.isInfoKnown = false;
      station.row.fallbackMilliAmpere.reset();
      break;
    case ELbMessage::InfoAnswer:
      station.isInfoKnown = true;
      break;
    case ELbMessage::FallbackAnswer:
      station.row.fallbackMilliAmpere = LbMessages::ReadFallbackAnswer(message);
      break;
    case ELbMessage::LimitAnswer: {
      const auto answer = LbMessages::ReadLimitAnswer(message);
      station.answered = mClock.Now();
      station.row.drawnMilliAmpere = answer.load.milliAmpere;
      station.row.report = answer.load.report;
      break;
    }
    default:
      break;
  }
}

std::vector<CScriptedLeader::SRow> CScriptedLeader::Rows() {
  std::vector<SRow> rows;
  mWorker.BlockingCall([&] {
    for (const auto& [serialNumber, station] : mStations) rows.push_back(Describe(serialNumber, station));
  });
  return rows;
}

CScriptedLeader::SRow CScriptedLeader::Describe(const LbSerialNumber& serialNumber,
                                                const SStation& station) const {
  SRow row = station.row;
  row.serialNumber = serialNumber;
  const TimePoint now = mClock.Now();
  if (station.heard) row.heardAgo = std::chrono::duration_cast<Milliseconds>(now - *station.heard);
  if (WillFor(serialNumber).isSilent) {
    row.state = EState::LeftAlone;
  } else if (station.answered) {
    row.state = now - *station.answered > kLongestSilence ? EState::Silent : EState::Led;
  } else {
    row.state = station.heard ? EState::Found : EState::Missing;
  }
  return row;
}

const CScriptedLeader::SWill& CScriptedLeader::WillFor(const LbSerialNumber& serialNumber) const {
  const auto found = mWillForOne.find(serialNumber);
  return found != mWillForOne.end() ? found->second : mWillForAll;
}

CLeaderLane& CScriptedLeader::LaneOf(const LbSerialNumber& serialNumber) {
  return mLanes
      .try_emplace(IsLine() ? LbSerialNumber{} : serialNumber, mWorker,
                   mCommunication->GetResponseTime(false), [this](const SRequest& request) { Send(request); })
      .first->second;
}
