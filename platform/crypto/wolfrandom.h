#pragma once

#include <memory>

#include "platform/crypto/randomgenerator.h"

/// The cryptographic library's generator, seeded by the system. Its state is wiped at the end.
class CWolfRandom final : public IRandomGenerator {
 public:
  CWolfRandom();
  ~CWolfRandom() override;
  CWolfRandom(const CWolfRandom&) = delete;
  CWolfRandom& operator=(const CWolfRandom&) = delete;

  int Init() override;
  /// An error where `Init` failed or is missing.
  int GenerateBlock(std::span<std::uint8_t> block) override;

 private:
  class CState;

  const std::unique_ptr<CState> mState;
};
