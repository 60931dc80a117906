#include "tools/currentcontrolctl/commands.h"

#include <algorithm>
#include <array>

#include <fmt/format.h>

#include "tools/currentcontrolctl/controlcommands.h"
#include "tools/currentcontrolctl/groupcommand.h"
#include "tools/currentcontrolctl/limitcommands.h"
#include "tools/currentcontrolctl/metercommand.h"
#include "tools/currentcontrolctl/p1command.h"

std::span<const SCommand> Commands() {
  static constexpr std::array<SCommand, 17> kCommands{{
      {"get", "", "the setpoint in force", 0, 0, Get},
      {"limits", "", "every limit, who decides and who is next", 0, 0, Limits},
      {"watch", "", "the same once per second, until Ctrl-C", 0, 0, Watch},
      {"group", "", "the stations that share a supply: the leader knows all", 0, 0, Group},
      {"set", "SOURCE AMPERES [PHASES]", "ask for a limit, on 1 or 3 phases (else the station's own)", 2, 3,
       Set},
      {"clear", "SOURCE", "take a limit back", 1, 1, Clear},
      {"sources", "", "every source: number, enumerator, display name, who may set it", 0, 0, Sources},
      {"state", "", "where the service stands", 0, 0, State},
      {"init", "", "let the service initialise", 0, 0, Initialize},
      {"enable", "", "let its components work", 0, 0, Enable},
      {"disable", "", "let its components rest", 0, 0, Disable},
      {"recover", "", "let it try again after a failure", 0, 0, Recover},
      {"terminate", "", "let the service end", 0, 0, Terminate},
      {"alive", "", "whether it answers", 0, 0, Alive},
      {"log-level", "[LEVEL]", "show or set: trace, debug, info, warning, error, critical", 0, 1, LogLevel},
      {"p1", "FILE", "decode P1 telegrams and explain what is wrong with them", 1, 1, P1Telegrams},
      {"meter", "TYPE [PARAMS]", "read a meter once, without the service; --list tells which", 0, 2, Meter},
  }};
  return kCommands;
}

EExit RunCommand(CSession& session) {
  const auto commands = Commands();
  const auto found = std::find_if(commands.begin(), commands.end(),
                                  [&](const SCommand& command) { return command.name == session.Word(0); });
  if (found == commands.end()) {
    return session.Fail(EExit::Usage, fmt::format("'{}' is no command; --help lists them", session.Word(0)));
  }
  const std::size_t arguments = session.Words() - 1;
  if (arguments < found->leastArguments || arguments > found->mostArguments) {
    return session.Fail(EExit::Usage, fmt::format("usage: currentcontrolctl {}{}{}", found->name,
                                                  found->arguments.empty() ? "" : " ", found->arguments));
  }
  return found->run(session);
}
