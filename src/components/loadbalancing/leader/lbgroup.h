#pragma once

#include <cstdint>
#include <map>
#include <memory>
#include <set>
#include <span>
#include <vector>

#include "src/components/loadbalancing/leader/lbmember.h"
#include "src/components/loadbalancing/leader/lbsharerequest.h"
#include "src/components/loadbalancing/leader/lbturns.h"

class CLbReverseUniformAlgorithm;

/// The stations of the group with their leader's own, what they may be drawing together, and who is to get
/// how much. The safety rule of docs/load-balancing.md is kept here: `MayDraw` is the sum, and `Affords` lets
/// nobody be told what would make it grow beyond what there is. One thread.
class CLbGroup {
 public:
  /// What there is to share, in mA, and what is known of the group beforehand.
  struct SSupply {
    LbPhaseCurrents milliAmpere{};
    LbPhaseCurrents forRises{};     ///< by which nobody may be told more; not more than that
    std::uint32_t size = 0;         ///< stations with the leader's own; 0: not known
    std::uint32_t ownFallback = 0;  ///< also of those who have not said theirs
    bool isSettling = false;        ///< nobody is to get more than its fallback
    bool isOwnHeld = false;         ///< the leader itself gets nothing
  };

  /// What a distribution may change: when there is too little at a moment, that alone is no reason for a
  /// rise.
  enum class EChange : std::uint8_t { All, Fall };

  /// At a fallback current that does not fit into the supply, a station that does not answer counts with it
  /// so long before it is in force, since others have to make room first.
  static constexpr Milliseconds kMakeRoom{2000};
  /// Shares that rise by less stay as they are, in mA.
  static constexpr std::uint32_t kSmallestRise = 500;
  /// Of the stations for which there is no place, as many are counted.
  static constexpr std::size_t kMostSurplus = 256;

  explicit CLbGroup(std::shared_ptr<CLbReverseUniformAlgorithm> algorithm);
  ~CLbGroup() = default;
  CLbGroup(const CLbGroup&) = delete;
  CLbGroup& operator=(const CLbGroup&) = delete;

  CLbMember& Own() { return mOwn; }
  const CLbMember& Own() const { return mOwn; }
  /// The own one first.
  const std::vector<CLbMember*>& Members() const { return mMembers; }
  std::size_t Followers() const { return mFollowers.size(); }
  /// Stations that were heard, with those for which there is no place, and with the leader's own.
  std::size_t Heard() const { return 1 + mFollowers.size() + mSurplus.size(); }
  /// Null: it is not known.
  CLbMember* Find(const LbSerialNumber& serialNumber);
  CLbMember* FindAt(const ICommunicationListener::IEndpoint& endpoint) const;
  CLbMember& Add(const LbSerialNumber& serialNumber);
  void Remove(const CLbMember& member);
  /// It is the same station as before.
  void Rename(CLbMember& member, const LbSerialNumber& serialNumber);
  /// There is no place for it. True: it is the first one.
  bool AddSurplus(const LbSerialNumber& serialNumber);

  void SetSupply(const SSupply& supply);
  const SSupply& Supply() const { return mSupply; }
  /// Gives every station its share. What is told follows with each one's next limit.
  void Distribute(EChange change, TimePoint now);
  /// What that station is to be told now: its share, as soon as the others have made room for it.
  SLbLimit NextLimit(const CLbMember& member, TimePoint now) const;
  /// What all may be drawing together, in mA on each phase.
  LbPhaseCurrents MayDraw(TimePoint now) const;
  /// Whether that station may be told so without making that sum too large.
  bool Affords(const CLbMember& member, const SLbLimit& limit, const LbPhaseCurrents& mayDraw,
               TimePoint now) const;
  /// What all are measured to draw, and those alone whose vehicles do not use all phases.
  LbPhaseCurrents Drawn() const;
  LbPhaseCurrents DrawnUnevenly() const;
  /// The fallback currents of all but the leader, in mA, and whether they by themselves fit into what there
  /// is.
  std::uint64_t Fallbacks() const;
  bool DoFallbacksFit() const { return mDoFallbacksFit; }
  /// Stations that belong to the group and were never heard, or have no place in it.
  std::uint32_t Unheard() const;
  std::uint32_t FallbackOf(const CLbMember& member) const;

 private:
  using Sums = std::array<std::uint64_t, 3>;

  template <typename Predicate>
  LbPhaseCurrents SumOfDrawn(Predicate counts) const;

  /// Of a station that may fall back to it at any time, or has done so.
  std::uint32_t ReserveOf(const CLbMember& member, TimePoint now) const;
  LbPhaseCurrents CountOf(const CLbMember& member, TimePoint now) const;
  std::uint64_t KeptForUnheard() const;
  /// For all who cannot be told anything.
  std::uint64_t KeptForOthers(TimePoint now) const;
  SLbShareRequest RequestOf(const CLbMember& member, const CLbTurns::SStation& place, TimePoint now) const;
  void SetShare(CLbMember& member, const SLbShareRequest& request, EChange change) const;

  const std::shared_ptr<CLbReverseUniformAlgorithm> mAlgorithm;
  CLbMember mOwn;
  std::map<LbSerialNumber, CLbMember> mFollowers;
  std::vector<CLbMember*> mMembers;
  std::set<LbSerialNumber> mSurplus;
  SSupply mSupply;
  bool mDoFallbacksFit = true;
  CLbTurns mTurns;
  // Of a distribution, kept for the next one.
  std::vector<CLbTurns::SStation> mPlaces;
  std::vector<SLbShareRequest> mRequests;
  std::vector<CLbMember*> mInOrder;
};
