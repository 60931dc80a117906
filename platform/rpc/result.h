#pragma once

#include <cstdint>

#include "ipc/common.pb.h"

/// What the code of an answer means: 0 is success, 1 is failure.
namespace Rpc {

inline constexpr std::uint32_t kSuccessCode = 0;
inline constexpr std::uint32_t kFailureCode = 1;

inline ipc::MResult ToResult(bool success) {
  ipc::MResult result;
  result.set_code(success ? kSuccessCode : kFailureCode);
  return result;
}
inline ipc::MResult Success() {
  return ToResult(true);
}
inline ipc::MResult Failure() {
  return ToResult(false);
}

/// Codes of other versions count as success, as 0 does.
inline bool IsFailure(const ipc::MResult& result) {
  return result.code() == kFailureCode;
}

}  // namespace Rpc
