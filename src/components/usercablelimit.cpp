#include "src/components/usercablelimit.h"

#include <array>
#include <cstddef>
#include <string_view>
#include <utility>

#include "platform/log/log.h"
#include "src/limitationsources/limits.h"
#include "src/rpc/clients/adacservice.h"

namespace {

constexpr auto kClassName = "CUserCableLimit";

struct SRating {
  std::string_view text;
  std::uint32_t milliAmpere;
};
/// By the number of the state. A resistor that nobody recognises is taken for the smallest cable's.
constexpr std::array<SRating, 7> kRatings{{{"Disconnect", 0},
                                           {"13A", 13000},
                                           {"20A", 20000},
                                           {"32A", 32000},
                                           {"63/70A", 70000},
                                           {"Error", 0},
                                           {"Invalid", 13000}}};
constexpr SRating kUnknownRating{"unknown state", 0};

const SRating& RatingOf(ipc::EPpState state) {
  const auto number = static_cast<std::int32_t>(state);
  if (number >= 0 && static_cast<std::size_t>(number) < kRatings.size()) {
    return kRatings[static_cast<std::size_t>(number)];
  }
  LOG_WARNING("Unknown Adac PpState");
  return kUnknownRating;
}

}  // namespace

CUserCableLimit::CUserCableLimit(std::shared_ptr<IAdacService> adac) : mAdac(std::move(adac)) {
  LOG_ENTRY(kClassName);
  mAdac->SetPpStateHandler([this](const ipc::MPpState& state) { OnPpState(state); });
}

CUserCableLimit::~CUserCableLimit() {
  LOG_ENTRY(kClassName);
  mAdac->SetPpStateHandler({});
}

void CUserCableLimit::OnLimitChanged(std::function<void()> limitChanged) {
  mLimitChanged = std::move(limitChanged);
}

SLimit CUserCableLimit::GetLimit() {
  LOG_ENTRY(kClassName);
  return {ipc::ECurrentControlUserCable, static_cast<std::int32_t>(mLimit.load()), kLimitedPhases};
}

void CUserCableLimit::OnPpState(const ipc::MPpState& state) {
  LOG_ENTRY(kClassName);
  const SRating& rating = RatingOf(state.state());
  if (state.state() != mState) {
    mState = state.state();
    LOG_INFO("Charging cable: {}", rating.text);
  }
  mLimit = rating.milliAmpere;
  LOG_DEBUG("User cable limit: {}", rating.milliAmpere);
  mLimitChanged();
}
