#pragma once

#include <atomic>
#include <cstdint>
#include <filesystem>
#include <functional>
#include <memory>
#include <optional>
#include <string>

#include <json/value.h>

#include "platform/http/httpclient.h"
#include "platform/mdns/servicediscovery.h"
#include "platform/utility/files.h"
#include "platform/utility/mutex.h"
#include "src/components/measurementsources/homewizardfinds.h"
#include "src/components/measurementsources/polledmeter.h"

/// A HomeWizard meter on the local network, read over HTTP.
///
/// Before values are taken the device at an address must say what it is: something that can be a house's
/// meter, and with the serial number that the meter is known by, once one is known. That is checked again
/// after each failure, for addresses get new owners.
///
/// Without an address the meter is looked for. A meter that is in error is looked for too, while its address
/// goes on being tried, and is believed to have moved only when its serial number is found elsewhere. An
/// address whose meter was never read is kept, whatever else is found: that may be a neighbour's. The address
/// of a meter that has been read is stored, with the serial number.
class CHomeWizard final : public CPolledMeter {
 public:
  using SPeriods = CPolledMeter::SPeriods;

  static constexpr auto kServiceType = "_hwenergy._tcp";
  /// Without a serial number a meter is taken when no other has appeared for so long.
  static constexpr Milliseconds kSettling{2000};
  /// When nothing changes for that long the cable to the smart meter is out. Voltages flicker, so the least
  /// is enough; without them something new is told at each Wh: then it is the time for two of these, within
  /// both.
  static constexpr Milliseconds kLeastStandstill{60000};
  static constexpr Milliseconds kLongestStandstill{900000};

  /// Told on the worker of a meter that was read: the "address" that the parameters had until now, and those
  /// that they ought to have.
  using StoreHandler = std::function<void(const std::string& formerAddress, const Json::Value& parameters)>;

  struct SDependencies {
    HttpClientCreator createHttpClient;
    std::shared_ptr<IServiceDiscovery> discovery;
    std::function<std::uint16_t()> defaultPort;
    StoreHandler store;
    IFiles& files;
    std::filesystem::path dumpFile;
  };

  /// Parameters: "address", a host or "host:port", may be empty; "serial", when it is known.
  CHomeWizard(IScheduler& scheduler, SDependencies dependencies, Json::Value parameters,
              const SPeriods& periods);
  ~CHomeWizard() override;

  /// Any thread.
  void DumpLastReceivedData() override;

 private:
  std::string Prepare() override;
  Answer Poll() override;
  void Disconnect() override;

  // On the worker. Where a text is answered it says what failed, and is empty when nothing has.
  std::string CreateHttpClient();
  std::string TakeParameters();
  std::string Target();
  std::string WithPort(const std::string& address) const;
  std::string Ask(const std::string& target, Json::Value& data);
  std::string Check(const std::string& target);
  std::string Get(const std::string& url, Json::Value& object) EXCLUDES(mLastMutex);
  Answer Judge(const std::string& target, const Json::Value& data);
  bool StandsStill(const Json::Value& data, const SMeterReading& reading);
  void Remember(const std::string& target);
  void Know(const std::string& serial);
  std::string Explain(const std::string& target, const std::string& failure);

  void LookForIt();
  void OnFound(const SFoundService& service);
  void Choose();
  void StopLooking();

  IScheduler& mScheduler;
  const SDependencies mDependencies;

  std::atomic<int> mWaiting{0};  // finds that the worker has not looked at

  struct SLast {
    std::string url;
    SHttpAnswer answer;
  };
  CMutex mLastMutex;
  SLast mLast GUARDED_BY(mLastMutex);

  // Used on the worker, or while it stands still.
  Json::Value mParameters;  // as they are stored
  std::string mAddress;     // of these, with or without a port
  std::string mSerial;      // of these; empty: whichever is there
  std::unique_ptr<IHttpClient> mClient;
  std::string mChecked;        // the place where the right device has answered; empty: none since a failure
  std::string mCheckedSerial;  // and its serial number
  Json::Value mMeasured;       // newest data
  TimePoint mMoved;            // when that was new

  std::unique_ptr<IServiceDiscovery::ISearch> mSearch;
  CBackOff mSearchBackOff;
  TimePoint mNextSearch;
  CCallHandle mSettling;
  CHomeWizardFinds mFinds;
  std::optional<CHomeWizardFinds::SMeter> mFound;
  bool mIsFoundNext = false;  // of the two places to be asked
  std::string mLooking;       // how the search goes, when there is something to say of it
};
