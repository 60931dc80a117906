#pragma once

#include <ostream>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include <json/value.h>

#include "ipc/common.pb.h"

#include "platform/rpc/communicationhost.h"
#include "platform/worker/scheduler.h"

/// How the program ends.
enum class EExit : int { Success = 0, Refused = 1, Usage = 2, Unreachable = 3 };

/// What a command works with: its words, the way to the service, and where to write.
class CSession {
 public:
  struct SSettings {
    std::vector<std::string> words;  ///< of the command, its name first
    bool json = false;
    bool isTerminal = false;
  };

  /// `stop` ends what would go on for ever.
  CSession(SSettings settings, IScheduler& scheduler, Rpc::ICommunicationHost& host, IEvent& stop,
           std::ostream& out, std::ostream& err)
      : mSettings(std::move(settings)),
        mScheduler(scheduler),
        mHost(host),
        mStop(stop),
        mOut(out),
        mErr(err) {}

  const std::string& Word(std::size_t index) const { return mSettings.words[index]; }
  std::size_t Words() const { return mSettings.words.size(); }
  bool IsJson() const { return mSettings.json; }
  bool IsTerminal() const { return mSettings.isTerminal; }
  IScheduler& Scheduler() { return mScheduler; }
  IEvent& Stop() { return mStop; }
  std::ostream& Out() { return mOut; }

  /// Calls the client's service for the command, given a member function of a generated client.
  template <class TClient, class TRequest, class TResponse>
  Rpc::SResult<TResponse> Call(std::string_view service,
                               Rpc::SResult<TResponse> (TClient::*method)(const TRequest&),
                               const TRequest& request = {}) {
    return (TClient(mHost.CreateClient(std::string(service))).*method)(request);
  }

  /// Writes the one line that says what went wrong.
  EExit Fail(EExit exit, std::string_view text);
  /// Why there is no answer.
  EExit FailToReach(std::string_view service, Rpc::EStatus status, const std::string& detail);
  /// What a service said to the command; `done` is for people when it said yes.
  EExit AnswerResult(std::string_view service, const Rpc::SResult<ipc::MResult>& answer,
                     std::string_view done);
  /// Writes the answer, for programs when asked for that, else for people.
  EExit Answer(const Json::Value& json, std::string_view text);

 private:
  const SSettings mSettings;
  IScheduler& mScheduler;
  Rpc::ICommunicationHost& mHost;
  IEvent& mStop;
  std::ostream& mOut;
  std::ostream& mErr;
};

/// In one line, without a line end.
std::string ToCompactText(const Json::Value& json);
