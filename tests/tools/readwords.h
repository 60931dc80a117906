#pragma once

#include <string>
#include <utility>
#include <vector>

#include <gmock/gmock.h>

#include "tools/display/options.h"

/// What a tool makes of these words, behind its name.
template <class TRead>
auto ReadWords(const TRead& read, std::vector<std::string> words) {
  words.insert(words.begin(), "tool");
  std::vector<char*> arguments;
  for (std::string& word : words) arguments.push_back(word.data());
  return read(arguments);
}

/// Wrong usage, and what is said of each.
using Refusals = std::vector<std::pair<std::vector<std::string>, const char*>>;

template <class TRead>
void ExpectRefusals(const TRead& read, const Refusals& refusals) {
  for (const auto& refusal : refusals)
    EXPECT_THAT([&] { ReadWords(read, refusal.first); }, testing::ThrowsMessage<CUsageError>(refusal.second));
}
