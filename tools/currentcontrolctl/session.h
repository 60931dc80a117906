#pragma once

#include <filesystem>
#include <functional>
#include <istream>
#include <memory>
#include <ostream>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include <json/value.h>

#include "ipc/common.pb.h"

#include "platform/rpc/communicationhost.h"
#include "platform/utility/files.h"
#include "platform/worker/scheduler.h"
#include "src/components/measurementsources/meteraccess.h"

/// How the program ends.
enum class EExit : int { Success = 0, Refused = 1, Usage = 2, Unreachable = 3 };

/// What a command works with: its words, the way to the service, and where to write.
class CSession {
 public:
  struct SSettings {
    std::vector<std::string> words;  ///< of the command, its name first
    bool json = false;
    bool isTerminal = false;
    std::filesystem::path root{"/"};
    bool list = false;
    Milliseconds wait{15000};
  };
  /// What is outside of the program. It outlives the session.
  struct SEnvironment {
    IScheduler& scheduler;
    Rpc::ICommunicationHost& host;
    IFiles& files;
    IEvent& stop;  ///< ends what would go on for ever
    std::istream& in;
    std::ostream& out;
    std::ostream& err;
    /// The ways to the meters of the station.
    std::function<SMeterAccess()> meters;
  };

  CSession(SSettings settings, SEnvironment environment)
      : mSettings(std::move(settings)), mEnvironment(std::move(environment)) {}

  const std::string& Word(std::size_t index) const { return mSettings.words[index]; }
  std::size_t Words() const { return mSettings.words.size(); }
  bool IsJson() const { return mSettings.json; }
  bool IsTerminal() const { return mSettings.isTerminal; }
  const std::filesystem::path& Root() const { return mSettings.root; }
  bool IsToList() const { return mSettings.list; }
  Milliseconds Wait() const { return mSettings.wait; }
  IScheduler& Scheduler() { return mEnvironment.scheduler; }
  IFiles& Files() { return mEnvironment.files; }
  IEvent& Stop() { return mEnvironment.stop; }
  std::istream& In() { return mEnvironment.in; }
  std::ostream& Out() { return mEnvironment.out; }
  std::ostream& Err() { return mEnvironment.err; }
  SMeterAccess Meters() { return mEnvironment.meters(); }
  std::shared_ptr<Rpc::CClient> CreateClient(const std::string& service) {
    return mEnvironment.host.CreateClient(service);
  }

  /// Calls the client's service for the command, given a member function of a generated client.
  template <class TClient, class TRequest, class TResponse>
  Rpc::SResult<TResponse> Call(std::string_view service,
                               Rpc::SResult<TResponse> (TClient::*method)(const TRequest&),
                               const TRequest& request = {}) {
    return (TClient(CreateClient(std::string(service))).*method)(request);
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
  const SEnvironment mEnvironment;
};

/// In one line, without a line end.
std::string ToCompactText(const Json::Value& json);
