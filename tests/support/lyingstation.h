#pragma once

#include <functional>
#include <memory>
#include <utility>

#include "simulation/groupplan.h"
#include "simulation/igroupstation.h"
#include "src/communication/ethernetcommunication.h"
#include "src/components/loadbalancing/lbencryptedpacketparser.h"
#include "src/components/loadbalancing/loadbalancing.h"

/// A station of a group that says whatever a test lets it say: what it would answer to each message goes
/// through a lie first. It draws nothing.
class CLyingStation final : public IGroupStation {
 public:
  /// The station's own serial number, and the message that has come.
  using Lie = std::function<SLbMessage(const LbSerialNumber& own, const SLbMessage& request)>;

  CLyingStation(SGroupPlace place, Lie lie) : mPlace(std::move(place)), mLie(std::move(lie)) {}
  ~CLyingStation() override { PowerOff(); }

  void PowerOn() override {
    mParser = std::make_unique<CLbEncryptedPacketParser>(mPlace.access.createRandom());
    mParser->Initialize(mPlace.secrets["GroupLoadBalancingPassword"].asString(), SGroupPlan::kGroupId);
    mParser->SetMessageHandler([this](const SLbMessage& message, const auto& endpoint) {
      const SLbMessage answer = mLie(mOwn, message);
      if (answer.Id() != 0) endpoint->SendData(mParser->Serialize(answer, endpoint.get()));
    });
    mWay = std::make_unique<CEthernetCommunication>(
        CEthernetCommunication::SSurroundings{*mPlace.scheduler, *mPlace.access.network,
                                              mPlace.access.createRandom()},
        "eth0", CLoadBalancing::kPort, SGroupPlan::kGroupId);
    mWay->SetDataReceivedHandler([this](const auto& endpoint) { mParser->Parse(endpoint); });
    mWay->Start();
  }
  void PowerOff() override {
    if (mWay) mWay->Stop();
  }
  void Plug(const CVehicle::SProperties&) override {}
  void Unplug() override {}
  void SetFull(bool) override {}
  void SetHouse(const std::array<std::int32_t, 3>&) override {}
  void ChangeSettings(const Json::Value&) override {}
  std::uint32_t LimitMilliAmpere() const override { return 0; }
  LbPhaseCurrents Drawn() const override { return {}; }
  SLbGroupView Describe() override { return {}; }

 private:
  const SGroupPlace mPlace;
  const Lie mLie;
  const LbSerialNumber mOwn = ToLbSerialNumber(mPlace.hwinfo["MainboardSn"].asString()).value();
  std::unique_ptr<CLbEncryptedPacketParser> mParser;
  std::unique_ptr<CEthernetCommunication> mWay;
};
