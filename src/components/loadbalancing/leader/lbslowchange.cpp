#include "src/components/loadbalancing/leader/lbslowchange.h"

#include <algorithm>

std::uint32_t CLbSlowChange::Take(std::uint32_t value, TimePoint now) {
  if (!mValue || (mSlow == ESlow::Rise ? value <= *mValue : value >= *mValue)) return TakeAtOnce(value);
  if (!mChange) mChange = SChange{now, value};
  mChange->nearest =
      mSlow == ESlow::Rise ? std::min(mChange->nearest, value) : std::max(mChange->nearest, value);
  if (now - mChange->since >= mLasting) {
    mValue = mChange->nearest;
    mChange = SChange{now, value};
  }
  return *mValue;
}

std::uint32_t CLbSlowChange::TakeAtOnce(std::uint32_t value) {
  mValue = value;
  mChange.reset();
  return value;
}
