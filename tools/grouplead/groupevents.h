#pragma once

#include <map>
#include <string>

#include "tools/grouplead/groupview.h"

/// Finds what has happened between one look at a group and the next. One thread.
class CGroupEvents {
 public:
  /// A line for each event, for people; empty: nothing has happened. The first look at a station is one.
  std::string Take(const SGroupView& view);

 private:
  /// What is news when it changes.
  struct SKnown {
    std::string state{}, told{}, own{};
  };

  std::map<LbSerialNumber, SKnown> mKnown;
};
