#include "statemachines/process/processstatemachine.h"

#include <fstream>
#include <functional>
#include <map>
#include <stdexcept>
#include <thread>

#include <gmock/gmock.h>

#include "platform/log/logcapture.h"
#include "platform/worker/realscheduler.h"
#include "platform/worker/virtualscheduler.h"
#include "statemachines/process/processactions.h"

namespace {

using ::testing::ElementsAre;
using enum EProcessEvent;
using Rows = std::vector<std::vector<std::string>>;

/// The table on the page for people whose header begins so: state, request, and what follows. What the page
/// says is what the machine is held to; an empty cell is not looked at.
Rows TableOfThePage(const std::string& header) {
  Rows rows;
  std::ifstream page(PROCESS_STATES_PAGE);
  for (std::string line; std::getline(page, line);) {
    if (rows.empty() && !line.starts_with(header)) continue;
    if (line.empty()) break;
    auto& cells = rows.emplace_back();
    for (std::size_t from = 1, to = 0; (to = line.find('|', from)) != std::string::npos; from = to + 1) {
      const auto first = line.find_first_not_of(' ', from);
      cells.push_back(line.substr(first, first == to ? 0 : line.find_last_not_of(' ', to - 1) + 1 - first));
    }
  }
  if (!rows.empty()) rows.erase(rows.begin() + 1);  // the line under the header
  return rows;
}

EProcessEvent EventOf(const std::string& column) {
  auto event = ExtClearMeasurementSourceConnection;
  while (ToText(event) != column && event <= ExtTerminateReq) {
    event = static_cast<EProcessEvent>(static_cast<int>(event) + 1);
  }
  return event;
}

class CActions : public IProcessActions {
 public:
  bool Initialize() override { return Do("Initialize"); }
  bool Enable() override { return Do("Enable"); }
  bool Recover() override { return Do("Recover"); }
  void Disable() override { Do("Disable"); }
  void Terminate() override { Do("Terminate"); }
  void SetMeasurementSourceConnection(const ipc::MMeasurementSource& connection) override {
    Do("Set" + connection.type());
  }
  void ClearMeasurementSourceConnection() override { Do("Clear"); }

  std::vector<std::string> done;
  bool succeed = true;
  std::map<std::string, std::function<void()>> during;

 private:
  bool Do(const std::string& action) {
    done.push_back(action);
    if (const auto& call = std::exchange(during[action], {})) call();
    return succeed;
  }
};

struct SStation {
  explicit SStation(IScheduler& time) : machine(time, actions, [this] { ++ends; }) { machine.Start(); }
  ~SStation() { machine.Stop(); }

  CActions actions;
  int ends = 0;
  CProcessStateMachine machine;
};

class CProcessStateMachineTest : public ::testing::Test {
 protected:
  /// What follows from a request to a process that is led to the state.
  std::string Cell(const std::vector<EProcessEvent>& road, EProcessEvent request, bool leads, bool succeeds) {
    SStation station(time);
    station.actions.succeed = leads;
    for (const auto event : road) station.machine.Request(event);
    station.actions.done.clear();
    station.actions.succeed = succeeds;
    log.Clear();
    std::string answer = station.machine.Request(request) ? ", 0" : ", 1";

    const auto now = station.machine.State();
    EXPECT_EQ(station.ends, now == EProcessState::Terminating ? 1 : 0);
    EXPECT_EQ(station.machine.IsEnabled(), now == EProcessState::Enabling);
    const bool isRefused = answer == ", 1" && station.actions.done.empty();
    EXPECT_EQ(log.Texts(Log::ELogLevel::Warning).size(), isRefused ? 1U : 0U);
    std::string separator = ": ";
    for (const auto& action : station.actions.done) answer += std::exchange(separator, " ") + action;
    return std::string(ToText(now)) + answer;
  }

  /// States that last as long as their work are left out: a request waits for it to end.
  void ExpectEveryCell(const Rows& table, std::size_t rows, bool succeeds) {
    static const std::map<std::string, std::vector<EProcessEvent>> kRoads{
        {"Uninitialized", {}},
        {"Commissioning", {ExtInitializeReq}},
        {"Enabling", {ExtInitializeReq, ExtEnableReq}},
        {"Recovering", {ExtInitializeReq}},
        {"Terminating", {ExtTerminateReq}}};
    ASSERT_EQ(table.size(), rows + 1);
    for (std::size_t row = 1; row < table.size(); ++row) {
      const std::string& state = table[row][0];
      for (std::size_t column = 1; kRoads.contains(state) && column < table[row].size(); ++column) {
        if (table[row][column].empty()) continue;
        EXPECT_EQ(Cell(kRoads.at(state), EventOf(table[0][column]), state != "Recovering", succeeds),
                  table[row][column])
            << table[0][column] << " in state " << state;
      }
    }
  }

  CVirtualScheduler time;
  CLogCapture log{Log::ELogLevel::Info};
};

TEST_F(CProcessStateMachineTest, AnswersEveryRequestInEveryState) {
  ExpectEveryCell(TableOfThePage("| State | Initialize | Enable | Disable |"), 7, true);
  ExpectEveryCell(TableOfThePage("| State | Initialize | Enable | Recover |"), 3, false);
}

TEST_F(CProcessStateMachineTest, TellsEachChangeOnceAndWhyItRefuses) {
  SStation station(time);
  auto& machine = station.machine;
  EXPECT_FALSE(machine.Request(ExtEnableReq));
  EXPECT_FALSE(machine.Request(IntEnablingDone));
  machine.Request(ExtInitializeReq);
  machine.Request(ExtInitializeReq);
  station.actions.during["Enable"] = [&] {
    EXPECT_EQ(machine.State(), EProcessState::Enabling);
    EXPECT_FALSE(machine.IsEnabled());
    EXPECT_FALSE(machine.Request(ExtDisableReq));
  };
  machine.Request(ExtEnableReq);
  machine.Request(ExtDisableReq);
  machine.Request(ExtTerminateReq);
  std::vector<std::string> lines;
  for (const auto& line : log.Lines()) lines.push_back(line.text);
  EXPECT_THAT(lines, ElementsAre("Enable request does not fit state Uninitialized",
                                 "EnablingDone request does not fit state Uninitialized",
                                 "Process state changed from Uninitialized to Initializing",
                                 "Process state changed from Initializing to Commissioning",
                                 "Process state changed from Commissioning to Enabling",
                                 "Disable request does not fit state Enabling",
                                 "Process state changed from Enabling to Disabling",
                                 "Process state changed from Disabling to Commissioning",
                                 "Process state changed from Commissioning to Terminating"));

  machine.Stop();
  log.Clear();
  EXPECT_FALSE(machine.Request(ExtTerminateReq));
  machine.Post(ExtTerminateReq);
  EXPECT_EQ(log.Count("Terminate request dropped: the process state machine is stopped"), 2);
}

TEST_F(CProcessStateMachineTest, CarriesTheConnectionAndCatchesNothing) {
  SStation station(time);
  station.machine.Request(ExtInitializeReq);
  ipc::MMeasurementSource connection;
  connection.set_type(" homewizard");
  station.machine.PostSetMeasurementSourceConnection(connection);
  time.RunDue();
  EXPECT_THAT(station.actions.done, ElementsAre("Initialize", "Set homewizard"));

  // A handler of the machine's own would let the process live, without these words.
  ::testing::FLAGS_gtest_death_test_style = "fast";
  station.actions.during["Enable"] = [] { throw std::runtime_error("component broke"); };
  EXPECT_DEATH(station.machine.Request(ExtEnableReq), "component broke");
}

TEST_F(CProcessStateMachineTest, RequestsOfOtherThreadsWaitForTheWorkInProgress) {
  CRealScheduler realTime;
  SStation station(realTime);
  bool enabled = false;
  std::thread other;
  station.actions.during["Initialize"] = [&] {
    other = std::thread([&] { enabled = station.machine.Request(ExtEnableReq); });
  };
  EXPECT_TRUE(station.machine.Request(ExtInitializeReq));
  other.join();
  EXPECT_TRUE(enabled);
  EXPECT_TRUE(station.machine.IsEnabled());
  EXPECT_THAT(station.actions.done, ElementsAre("Initialize", "Enable"));
}

}  // namespace
