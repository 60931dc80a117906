#include "platform/rpc/channel.h"

namespace Rpc {

std::string_view ToText(EStatus status) {
  switch (status) {
    case EStatus::Ok:
      return "ok";
    case EStatus::Unreachable:
      return "unreachable";
    case EStatus::Timeout:
      return "timeout";
    case EStatus::Unimplemented:
      return "unimplemented";
    case EStatus::Failed:
      return "failed";
  }
  return "unknown status";
}

}  // namespace Rpc
