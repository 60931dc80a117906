#include "tools/currentcontrolsim/momentnames.h"

#include "tools/display/limitstable.h"

std::string MomentNames::OfSource(ipc::ECurrentControlSource source) {
  return source == ipc::ECurrentControlNone ? "nobody yet" : FormatSource(source);
}
