#include "src/main/terminatehandler.h"

#include <cstdlib>
#include <exception>
#include <typeinfo>

#include "platform/log/log.h"

namespace {

void LogUncaught(const std::exception_ptr& exception) {
  try {
    std::rethrow_exception(exception);
  } catch (const std::exception& error) {
    const char* type = typeid(error).name();
    if (*type == '*') ++type;  // a type that is compared by address
    LOG_CRITICAL("Uncaught exception of type '{}' with message: '{}'", Log::Demangle(type), error.what());
  } catch (...) {
    LOG_CRITICAL("Uncaught exception of unknown type.");
  }
}

[[noreturn]] void OnTerminate() {
  if (const auto exception = std::current_exception()) LogUncaught(exception);
  LOG_CRITICAL("Aborting process.");
  std::abort();
}

}  // namespace

void InstallTerminateHandler() {
  std::set_terminate(&OnTerminate);
}
