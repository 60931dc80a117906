#include "statemachines/utils/statemachinesutility.h"

#include "platform/log/log.h"

namespace StateMachinesUtility {

void LogStateChange(std::string_view machine, std::string_view from, std::string_view to) {
  LOG_INFO("{} state changed from {} to {}", machine, from, to);
}

void LogRefusedRequest(std::string_view request, std::string_view state) {
  LOG_WARNING("{} request does not fit state {}", request, state);
}

}  // namespace StateMachinesUtility
