#pragma once

#include <memory>
#include <sstream>
#include <string>
#include <utility>
#include <vector>

#include <gtest/gtest.h>

#include "platform/log/logcapture.h"
#include "platform/rpc/appcommunicationhost.h"
#include "platform/rpc/inprocessbackend.h"
#include "platform/worker/virtualscheduler.h"
#include "simulation/memoryfiles.h"
#include "tools/currentcontrolctl/commands.h"

/// Commands of currentcontrolctl in virtual time.
class CCtlTest : public testing::Test {
 protected:
  struct SOutcome {
    int exit;
    std::string out, err;
  };

  SOutcome Run(std::vector<std::string> words, bool json = false, bool list = false) {
    std::ostringstream out;
    std::ostringstream err;
    const std::unique_ptr<IEvent> stop = mScheduler.CreateEvent();
    CSession session({.words = std::move(words), .json = json, .root = "/root", .list = list, .wait = mWait},
                     {.scheduler = mScheduler,
                      .host = mHost,
                      .files = mFiles,
                      .stop = mStop ? *mStop : *stop,
                      .in = mIn,
                      .out = out,
                      .err = err,
                      .meters = [this] { return mMeters; }});
    const EExit exit = RunCommand(session);
    return {static_cast<int>(exit), out.str(), err.str()};
  }

  CLogCapture mLog;
  CVirtualScheduler mScheduler;
  CMemoryFiles mFiles;
  SMeterAccess mMeters;
  Milliseconds mWait{15000};
  std::istringstream mIn;
  std::unique_ptr<IEvent> mStop;  ///< of all commands; otherwise each has its own
  const std::shared_ptr<Rpc::CInProcessNetwork> mNetwork =
      std::make_shared<Rpc::CInProcessNetwork>(mScheduler);
  Rpc::AppCommunicationHost<Rpc::InProcessBackend> mHost{Rpc::InProcessBackend(mNetwork), mFiles, "/"};
};
