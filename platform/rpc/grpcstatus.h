#pragma once

#include <grpcpp/support/status.h>

#include "platform/rpc/channel.h"

namespace Rpc {

inline EStatus ToStatus(const grpc::Status& status) {
  switch (status.error_code()) {
    case grpc::StatusCode::OK:
      return EStatus::Ok;
    case grpc::StatusCode::UNAVAILABLE:
    case grpc::StatusCode::CANCELLED:  // by the peer: we look at no call that we cancelled
      return EStatus::Unreachable;
    case grpc::StatusCode::DEADLINE_EXCEEDED:
      return EStatus::Timeout;
    case grpc::StatusCode::UNIMPLEMENTED:
      return EStatus::Unimplemented;
    default:
      return EStatus::Failed;
  }
}

}  // namespace Rpc
