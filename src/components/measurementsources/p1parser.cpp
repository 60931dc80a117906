#include "src/components/measurementsources/p1parser.h"

#include <iterator>
#include <span>
#include <string>
#include <utility>

#include <fmt/format.h>

#include "platform/log/log.h"
#include "src/components/measurementsources/dumpfile.h"
#include "src/components/measurementsources/p1output.h"

namespace {

constexpr auto kClassName = "CP1Parser";
constexpr double kPerUnit = 1000.0;

}  // namespace

CP1Parser::CP1Parser(IFiles& files, std::filesystem::path dumpFile,
                     std::shared_ptr<CDiagnosticsSignal> version)
    : mFiles(files), mDumpFile(std::move(dumpFile)), mVersion(std::move(version)) {
  LOG_ENTRY(kClassName);
}

CP1Parser::~CP1Parser() {
  LOG_ENTRY(kClassName);
  if (mVersion) mVersion->SendText("Unknown");
}

SP1Output CP1Parser::Parse(const std::uint8_t* data, std::size_t length) {
  LOG_ENTRY(kClassName);
  P1::CRecord record;
  const P1::SResult result = P1::ParseTelegram(std::span(data, length), P1::EUnknownFields::Ignored, record);
  {
    CMutexLock lock(mRecordMutex);
    mRecord = record;
  }
  if (result.failure != P1::EFailure::None) {
    TellFailure(result);
    return {};
  }
  if (mVersion && record.Has(P1::EField::Version)) mVersion->SendText(record.Version());
  SP1Output output = P1::ToOutput(record);
  if (output.activePower) {
    NoteFaultless();
  } else {
    TellMissingPower();
  }
  return output;
}

void CP1Parser::TellFailure(const P1::SResult& result) {
  const Log::ELogLevel level = IsNews(result.failure) ? Log::ELogLevel::Error : Log::ELogLevel::Debug;
  LOG_AT(level, "{}", P1::ToText(result.failure));
  LOG_DEBUG("The telegram cannot be parsed from byte {} on", result.position);
}

void CP1Parser::TellMissingPower() {
  const Log::ELogLevel level = IsNews(P1::EFailure::None) ? Log::ELogLevel::Warning : Log::ELogLevel::Debug;
  LOG_AT(level, "No active power data available from smart meter P1 port.");
}

bool CP1Parser::IsNews(P1::EFailure failure) {
  const auto number = static_cast<std::size_t>(failure);
  const bool isNews = !mTold[number];
  mTold.set(number);
  mFaultless = 0;
  return isNews;
}

void CP1Parser::NoteFaultless() {
  if (mFaultless < kGoodInARow && ++mFaultless == kGoodInARow) mTold.reset();
}

void CP1Parser::DumpLastReceivedData() {
  LOG_ENTRY(kClassName);
  DumpFile::Write(mFiles, mDumpFile, DumpText(), "P1extender P1");
}

std::string CP1Parser::DumpText() {
  P1::CRecord record;
  {
    CMutexLock lock(mRecordMutex);
    record = mRecord;
  }
  std::string text;
  for (std::size_t index = 0; index < P1::kFieldCount; ++index) {
    const P1::SField& field = P1::kFields[index];
    if (!record.Has(static_cast<P1::EField>(index))) continue;
    if (field.unit == P1::EUnit::None) {
      fmt::format_to(std::back_inserter(text), "{}: {}\n", field.name, record.Version());
    } else {
      fmt::format_to(std::back_inserter(text), "{}: {}{}\n", field.name,
                     *record.Thousandths(static_cast<P1::EField>(index)) / kPerUnit, P1::ToText(field.unit));
    }
  }
  return text;
}
