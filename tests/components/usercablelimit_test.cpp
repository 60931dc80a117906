#include "src/components/usercablelimit.h"

#include <functional>
#include <tuple>

#include <fmt/format.h>
#include <gtest/gtest.h>

#include "platform/log/logcapture.h"
#include "src/rpc/clients/adacservice.h"

namespace {

class CAdac final : public IAdacService {
 public:
  void SetPpStateHandler(PpStateHandler handler) override { mHandler = std::move(handler); }
  void Notify(int number) const {
    ipc::MPpState state;
    state.set_state(static_cast<ipc::EPpState>(number));
    mHandler(state);
  }

  PpStateHandler mHandler;
};

TEST(UserCableLimit, FollowsEveryStateOfTheProximityPilot) {
  const auto adac = std::make_shared<CAdac>();
  auto cable = std::make_unique<CUserCableLimit>(adac);
  EXPECT_EQ(cable->GetLimit().milliAmpere, 0);
  EXPECT_THROW(adac->Notify(0), std::bad_function_call);
  int changes = 0;
  cable->OnLimitChanged([&changes] { ++changes; });
  for (const auto& [state, text, limit] : {std::tuple{1, "13A", 13000},
                                           {2, "20A", 20000},
                                           {3, "32A", 32000},
                                           {255, "unknown state", 0},
                                           {6, "Invalid", 13000},
                                           {5, "Error", 0},
                                           {4, "63/70A", 70000},
                                           {7, "unknown state", 0},
                                           {0, "Disconnect", 0}}) {
    const CLogCapture log;
    adac->Notify(state);
    adac->Notify(state);
    EXPECT_EQ(cable->GetLimit().source, ipc::ECurrentControlUserCable);
    EXPECT_EQ(cable->GetLimit().milliAmpere, limit) << text;
    EXPECT_EQ(std::exchange(changes, 0), 2) << "equal ones are told as well";
    EXPECT_EQ(log.Count(fmt::format("Charging cable: {}", text)), 1);
    EXPECT_EQ(log.Count(fmt::format("User cable limit: {}", limit)), 2);
    EXPECT_EQ(log.Count("Unknown Adac PpState"), state > 6 ? 2 : 0);
  }
  cable.reset();
  EXPECT_FALSE(adac->mHandler);
}

}  // namespace
