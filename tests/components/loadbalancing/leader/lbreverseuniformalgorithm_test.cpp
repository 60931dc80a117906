#include "src/components/loadbalancing/leader/lbreverseuniformalgorithm.h"

#include <gmock/gmock.h>

#include "src/components/blackoutprotection/blackoutprotectionbase.h"
#include "src/components/loadbalancing/leader/lbphaseimbalancealgorithm.h"

namespace {

using Requests = std::vector<SLbShareRequest>;
using Shares = std::vector<std::uint32_t>;

Shares SharesOf(const LbPhaseCurrents& capacity, Requests requests, std::int32_t imbalanceLimit) {
  const CLbReverseUniformAlgorithm algorithm(
      std::make_shared<CLbPhaseImbalanceAlgorithm>(imbalanceLimit >= 0, imbalanceLimit), nullptr);
  algorithm.Distribute(capacity, {20000, 1000, 5000}, requests);
  Shares shares;
  for (const SLbShareRequest& request : requests) shares.push_back(request.shareMilliAmpere);
  return shares;
}

TEST(CLbReverseUniformAlgorithmTest, SharesEqually) {
  const SLbShareRequest any;
  const SLbShareRequest r{.phases = 1};
  const SLbShareRequest s{.phases = 2};
  const SLbShareRequest offer{.isOffer = true};
  const SLbShareRequest rReserving{.phases = 1, .reserveMilliAmpere = 4000};
  const SLbShareRequest unruly{.phases = 1, .overdrawn = {16000, 0, 0}};
  const auto all = [](std::uint32_t each) { return LbPhaseCurrents{each, each, each}; };
  const auto uses = [](std::uint32_t most) { return SLbShareRequest{.mostMilliAmpere = most}; };
  const auto reserves = [](std::uint32_t each) { return SLbShareRequest{.reserveMilliAmpere = each}; };
  const struct {
    Shares expected;
    LbPhaseCurrents capacity;
    Requests requests;
    std::int32_t imbalanceLimit = -1;
  } kCases[] = {
      {{11000, 0}, all(11000), {any, any}},  // never both without
      {{6100, 6100}, all(12399), {any, any}},
      {{8700, 8700}, all(17400), {any, any}},
      {{10000, 10000, 10100, 10100}, {20000, 20200, 20000}, {r, r, s, s}},
      {{4294967200, 0}, all(4294967295), {any, uses(5999)}},
      {{10000, 10000, 11000, 11000}, {20000, 32000, 32000}, {r, any, s, s}},
      {{16000, 12000}, all(16000), {rReserving, s}},  // a fallback may load any phase
      {{8543, 7000, 0}, all(10000), {reserves(8543), reserves(7000), any}},
      {{6000, 0, 0}, all(16000), {reserves(5000), reserves(5000), reserves(5000)}},
      {{0, 21900}, all(21900), {r, unruly}},
      {{7000, 7000, 23000}, all(23000), {r, unruly, s}},
      {{10000, 0, 10000}, all(10000), {unruly, r, s}},
      {{8000, 6000, 6000, 0}, all(20000), {uses(8000), uses(6000), offer, offer}},
      {{8500, 8500, 0, 46000}, all(63000), {r, r, r, any}, 16000},  // 1 A on S, and the limit
      {{10500, 10500, 21000}, all(63000), {r, r, s}, 0},            // the usual one
  };
  for (const auto& each : kCases) {
    EXPECT_EQ(SharesOf(each.capacity, each.requests, each.imbalanceLimit), each.expected)
        << (&each - kCases) << ". case";
  }
}

struct SFuse final : IBlackoutProtection {
  bool IsInError() const override { return isInError; }
  ThreePhaseValue GetAllowanceCurrent() override { return left; }
  std::uint32_t GetFallbackCurrent() const override { return 9000; }
  bool isInError = false;
  ThreePhaseValue left{};
};

TEST(CLbReverseUniformAlgorithmTest, CountsAChangeOfWhatTheMainFuseLeavesOnlyWhenItLasts) {
  const auto fuse = std::make_shared<SFuse>();
  CLbReverseUniformAlgorithm algorithm(nullptr, fuse);
  const struct {
    int second;
    std::int32_t left;
    std::uint32_t drawn;
    std::uint32_t expected;
    bool isInError = false;
  } kSteps[] = {
      {0, 5000, 9000, 14000},    // the first one
      {1, 1000, 9000, 14000},    // the vehicle draws more, its answer is not here yet
      {4, 0, 12000, 14000},      // 3 s
      {5, 0, 11000, 12000},      // the most of the 4 s
      {6, -1, 11000, 10999},     // overloaded
      {7, 8000, 11000, 10999},   // the vehicle has stopped
      {8, -12000, 11000, 0},     // less than nothing
      {9, 12000, 3000, 0},       //
      {12, 12000, 1000, 0},      //
      {16, 12000, 1000, 0},      //
      {18, 12000, 3000, 0},      // 9 s
      {19, 12000, 3000, 13000},  // the least of the 10 s
      {20, 12000, 3000, 9000, true},
      {21, 2147483647, 4294967295, 9000},
      {31, 2147483647, 4294967295, 20000},  // the supply's
  };
  for (const auto& step : kSteps) {
    fuse->left = {90000, step.left, 90000};
    fuse->isInError = step.isInError;
    const TimePoint now = TimePoint{} + std::chrono::seconds{step.second};
    EXPECT_EQ(algorithm.Capacity(20000, {}, {0, step.drawn, 0}, now)[1], step.expected) << step.second;
  }
  const TimePoint now = TimePoint{} + std::chrono::seconds{32};
  EXPECT_THAT(algorithm.Capacity(20000, 16000, {}, now), ::testing::ElementsAre(16000, 16000, 16000));
  EXPECT_EQ(CLbReverseUniformAlgorithm(nullptr, nullptr).Capacity(20000, {}, {}, now)[2], 20000U);
}

}  // namespace
