#pragma once

#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "platform/log/log.h"

/// Catches the log lines of the thread that creates it, of threads that adopt its context and of nobody else,
/// so that tests which run side by side do not see each other's lines. Captured lines reach no sink.
class CLogCapture {
 public:
  struct SLine {
    Log::ELogLevel level;
    std::string position;  ///< "src/components/currentlimiter:95"
    std::string text;      ///< without the position in front
  };
  class CBuffer;

  /// Captures lines from the given level up until destroyed. Captures nest; the innermost one wins.
  explicit CLogCapture(Log::ELogLevel lowest = Log::ELogLevel::Trace);
  ~CLogCapture();
  CLogCapture(const CLogCapture&) = delete;
  CLogCapture& operator=(const CLogCapture&) = delete;

  std::vector<SLine> Lines() const;
  /// The texts of all lines of one level, in order.
  std::vector<std::string> Texts(Log::ELogLevel level) const;
  /// How many lines of any level have exactly this text.
  int Count(std::string_view text) const;
  /// Forgets what was captured so far.
  void Clear();

  /// What a thread hands to the threads that it starts; empty outside of any capture.
  static const std::shared_ptr<CBuffer>& OfThisThread();

  /// Lets this thread's lines go where the context's lines go, until destroyed. An empty context is fine.
  class CScope {
   public:
    explicit CScope(std::shared_ptr<CBuffer> context);
    ~CScope();
    CScope(const CScope&) = delete;
    CScope& operator=(const CScope&) = delete;

   private:
    std::shared_ptr<CBuffer> mPrevious;
  };

 private:
  friend class Log;
  static int LowestWantedLevel();

  std::shared_ptr<CBuffer> mBuffer;
  CScope mScope;
};

/// Where captured lines are kept; shared by every thread of one capture.
class CLogCapture::CBuffer {
 public:
  explicit CBuffer(Log::ELogLevel lowest);
  ~CBuffer();
  CBuffer(const CBuffer&) = delete;
  CBuffer& operator=(const CBuffer&) = delete;

  void Add(Log::ELogLevel level, std::string_view textWithPosition);
  std::vector<SLine> Lines() const;
  void Clear();

 private:
  struct SState;
  const Log::ELogLevel mLowest;
  const std::unique_ptr<SState> mState;
};
