#include "src/components/measurementsources/homewizard.h"

#include <algorithm>
#include <cstddef>
#include <cstdlib>
#include <exception>
#include <string_view>
#include <utility>
#include <variant>

#include <fmt/format.h>

#include "platform/log/log.h"
#include "platform/utility/hostport.h"
#include "platform/utility/text.h"
#include "src/components/measurementsources/dumpfile.h"
#include "src/components/measurementsources/homewizardanswer.h"
#include "src/components/measurementsources/homewizardreading.h"
#include "src/components/sourceparameters.h"

namespace {

constexpr auto kClassName = "CHomeWizard";
constexpr auto kAddress = "address";
constexpr auto kSerial = "serial";
constexpr auto kNotFoundYet = "it was not found on the network yet";
constexpr Milliseconds kFirstSearchPause{5000};
constexpr Milliseconds kLongestSearchPause{60000};
constexpr int kMostWaiting = 64;

bool IsOfHost(char letter) {
  const char lower = Text::LowerCaseLetter(letter);
  return (lower >= 'a' && lower <= 'z') || (letter >= '0' && letter <= '9') || letter == '.' ||
         letter == '-' || letter == '_';
}

bool IsAddress(std::string_view text) {
  const std::string_view host = text.substr(0, text.find(':'));
  return !host.empty() && host.size() <= HostPort::kLongestHost && std::ranges::all_of(host, IsOfHost) &&
         (host.size() == text.size() || HostPort::ToPort(text.substr(host.size() + 1)));
}

Milliseconds LongestStandstill(const SMeterReading& reading) {
  constexpr Milliseconds kTwoHours{7200000};
  if (reading.voltage) return CHomeWizard::kLeastStandstill;
  const std::int64_t watt = reading.activePower ? std::abs((*reading.activePower)[0]) : 0;
  if (watt == 0) return CHomeWizard::kLongestStandstill;
  return std::clamp(kTwoHours / watt, CHomeWizard::kLeastStandstill, CHomeWizard::kLongestStandstill);
}

}  // namespace

CHomeWizard::CHomeWizard(IScheduler& scheduler, SDependencies dependencies, Json::Value parameters,
                         const SPeriods& periods)
    : CPolledMeter(scheduler, kClassName, "The HomeWizard meter", periods),
      mScheduler(scheduler),
      mDependencies(std::move(dependencies)),
      mParameters(std::move(parameters)),
      mSearchBackOff(kFirstSearchPause, kLongestSearchPause) {}

CHomeWizard::~CHomeWizard() {
  LOG_ENTRY(kClassName);
  CHomeWizard::DeInit();
}

std::string CHomeWizard::Prepare() {
  mWaiting = 0;  // what waited when the worker was stopped is gone
  mSearchBackOff.Reset();
  mNextSearch = mScheduler.Now();
  const std::string fault = TakeParameters();
  return fault.empty() ? CreateHttpClient() : fault;
}

std::string CHomeWizard::TakeParameters() {
  mAddress = SourceParameters::TextOf(mParameters, kAddress);
  if (!mAddress.empty() && !IsAddress(mAddress)) {
    return fmt::format("\"{}\" is neither a host nor host:port: {}", kAddress, Text::InOneLine(mAddress));
  }
  const std::string serial = SourceParameters::TextOf(mParameters, kSerial);
  Know(Text::ToLowerCase(HomeWizardAnswer::ToName(serial)));
  if (mSerial.size() == serial.size()) return {};
  return fmt::format("\"{}\" is no serial number: {}", kSerial, Text::InOneLine(serial));
}

std::string CHomeWizard::CreateHttpClient() {
  if (!mDependencies.createHttpClient) return "there is no way to ask anything over HTTP";
  try {
    mClient = mDependencies.createHttpClient();
    return {};
  } catch (const std::exception& exception) {
    return Text::InOneLine(exception.what());
  }
}

void CHomeWizard::Disconnect() {
  StopLooking();
  mClient.reset();
  mChecked.clear();
  mMeasured = Json::Value();
}

void CHomeWizard::Know(const std::string& serial) {
  mSerial = serial;
  if (!mSerial.empty()) SetLabel(fmt::format("The HomeWizard meter {}", mSerial));
}

CHomeWizard::Answer CHomeWizard::Poll() {
  const std::string target = Target();
  if (target.empty()) {
    LookForIt();
    return mLooking;
  }
  Json::Value data;
  const std::string failure = Ask(target, data);
  if (failure.empty()) return Judge(target, data);
  mChecked.clear();
  if (IsInError() || mAddress.empty()) LookForIt();
  return Explain(target, failure);
}

/// One attempt per turn: where there are two places they take turns.
std::string CHomeWizard::Target() {
  if (!mFound) return mAddress.empty() ? std::string() : WithPort(mAddress);
  if (mAddress.empty() || std::exchange(mIsFoundNext, !mIsFoundNext)) return mFound->address;
  return WithPort(mAddress);
}

std::string CHomeWizard::WithPort(const std::string& address) const {
  return address.find(':') == std::string::npos ? fmt::format("{}:{}", address, mDependencies.defaultPort())
                                                : address;
}

std::string CHomeWizard::Explain(const std::string& target, const std::string& failure) {
  if (mFound && mFound->address == target && mFound->isApiOff) {
    return std::string(HomeWizardAnswer::kApiIsOff);
  }
  return mLooking.empty() || mLooking == kNotFoundYet ? failure : fmt::format("{}; {}", failure, mLooking);
}

std::string CHomeWizard::Ask(const std::string& target, Json::Value& data) {
  if (mChecked != target) {
    const std::string failure = Check(target);
    if (!failure.empty()) return failure;
    mChecked = target;
  }
  return Get(fmt::format("http://{}/api/v1/data", target), data);
}

std::string CHomeWizard::Check(const std::string& target) {
  Json::Value object;
  const std::string failure = Get(fmt::format("http://{}/api", target), object);
  if (!failure.empty()) return failure;
  const HomeWizardAnswer::SDevice device = HomeWizardAnswer::ToDevice(object);
  if (HomeWizardAnswer::Measures(device.productType) == HomeWizardAnswer::EMeasures::Other) {
    return fmt::format("the device at {} is a {}, which does not measure at the house connection", target,
                       device.productType);
  }
  if (!mSerial.empty() && device.serial != mSerial) {
    return fmt::format("the device at {} is another one: \"serial\" is {}, its own is {}", target, mSerial,
                       device.serial.empty() ? "not told" : device.serial);
  }
  mCheckedSerial = device.serial;
  return {};
}

std::string CHomeWizard::Get(const std::string& url, Json::Value& object) {
  SHttpAnswer answer = mClient->Get(url);
  const std::string failure = HomeWizardAnswer::ToObject(answer, object);
  const CMutexLock lock(mLastMutex);
  mLast = {.url = url, .answer = std::move(answer)};
  return failure.empty() ? failure : fmt::format("{}: {}", url, failure);
}

CHomeWizard::Answer CHomeWizard::Judge(const std::string& target, const Json::Value& data) {
  auto reading = HomeWizardReading::From(data);
  if (const auto* fault = std::get_if<std::string>(&reading)) return *fault;
  if (StandsStill(data, std::get<SMeterReading>(reading))) {
    const std::string reason = "its values do not change any more, its P1 cable may be out";
    Fail(reason);  // at once: values that stand still have been taken for too long
    return reason;
  }
  Remember(target);
  StopLooking();
  return std::get<SMeterReading>(reading);
}

bool CHomeWizard::StandsStill(const Json::Value& data, const SMeterReading& reading) {
  Json::Value measured = HomeWizardReading::Measured(data);
  if (measured == mMeasured) return mScheduler.Now() - mMoved > LongestStandstill(reading);
  mMeasured = std::move(measured);
  mMoved = mScheduler.Now();
  return false;
}

void CHomeWizard::Remember(const std::string& target) {
  const bool hasMoved = mAddress.empty() || WithPort(mAddress) != target;
  if (!hasMoved && mSerial == mCheckedSerial) return;
  const std::string former = mAddress;
  if (hasMoved) mAddress = target;
  Know(mCheckedSerial);
  if (hasMoved) LOG_INFO("{} was found at {}", Label(), mAddress);
  Json::Value found(Json::objectValue);
  found[kAddress] = mAddress;
  if (!mSerial.empty()) found[kSerial] = mSerial;
  for (const std::string& name : found.getMemberNames()) mParameters[name] = found[name];
  mDependencies.store(former, found);
}

void CHomeWizard::LookForIt() {
  if (mSearch || mScheduler.Now() < mNextSearch) return;
  std::string reason;
  mFinds.Clear();
  mLooking = kNotFoundYet;
  mSearch = mDependencies.discovery->Search(
      kServiceType,
      [this](const SFoundService& service) {
        // Whoever floods the network with announcements must not fill the memory while the worker is busy.
        if (mWaiting.fetch_add(1) < kMostWaiting) {
          Worker().NonBlockingCall([this, service] {
            --mWaiting;
            OnFound(service);
          });
        } else {
          --mWaiting;
        }
      },
      reason);
  if (mSearch) return mSearchBackOff.Reset();
  mLooking = fmt::format("it cannot be looked for on the network: {}", reason);
  mNextSearch = mScheduler.Now() + mSearchBackOff.Next();
}

void CHomeWizard::OnFound(const SFoundService& service) {
  if (!mSearch) return;
  const bool isNew = mFinds.Note(service);
  if (!mSerial.empty() || mFound) return Choose();
  if (isNew) mSettling = Worker().AddCall([this] { Choose(); }, kSettling);
}

void CHomeWizard::Choose() {
  auto chosen = mFinds.Choose(mSerial, mLooking);
  if (chosen && mSerial.empty() && !mAddress.empty()) {
    mLooking =
        fmt::format("a {} with the serial number {} was found at {}: if that is the meter, set \"{}\" to it",
                    chosen->productType, chosen->serial, chosen->address, kAddress);
    return;
  }
  if (!chosen) return mFound.reset();
  mLooking.clear();
  const bool isElsewhere = !mFound || mFound->address != chosen->address;
  mFound = std::move(chosen);
  if (!isElsewhere || (!mAddress.empty() && WithPort(mAddress) == mFound->address)) return;
  mIsFoundNext = true;
  PollAfter(Milliseconds{0});
}

void CHomeWizard::StopLooking() {
  mSettling.Cancel();
  mSearch.reset();
  mFinds.Clear();
  mFound.reset();
  mLooking.clear();
}

void CHomeWizard::DumpLastReceivedData() {
  LOG_ENTRY(kClassName);
  std::string text = "Nothing was received yet.\n";
  {
    const CMutexLock lock(mLastMutex);
    const auto& [url, answer] = mLast;
    if (!url.empty()) {
      text = fmt::format(
          "{}\n{}\n{}\n", url,
          answer.failure.empty() ? fmt::format("status {}", answer.status) : "failed: " + answer.failure,
          answer.body);
    }
  }
  DumpFile::Write(mDependencies.files, mDependencies.dumpFile, text, "HomeWizard");
}
