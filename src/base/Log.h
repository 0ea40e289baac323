#pragma once

#include <memory>
#include <string_view>

#include "Here.h"
#include "zul/LogLevel.h"

namespace zul {

namespace platform {
class Clock;
class LogSink;
}  // namespace platform

/// The library's log line: "time | tag | method( line ) | message", whole in one write to the sink. Any
/// thread may call it; it takes no lock and never throws. Lines below `level` are left out. `where` is ZUL_HERE.
class Log {
 public:
  Log(std::shared_ptr<platform::Clock> clock, std::shared_ptr<platform::LogSink> sink,
      LogLevel level = LogLevel::debug);

  void debug(std::string_view message, const CallSite& where) const noexcept;
  void info(std::string_view message, const CallSite& where) const noexcept;
  void error(std::string_view message, const CallSite& where) const noexcept;

  /// Whether lines of this level go anywhere: what costs much to write is made only then.
  bool wants(LogLevel level) const noexcept;

  /// A line without time and place, whatever the level.
  void system(std::string_view message) const noexcept;

  /// Runs `work` and turns whatever it throws into an error line: the boundary between the library and
  /// the threads and callers that must never see an exception.
  template <typename Work>
  void guard(Work&& work, const CallSite& where) const noexcept {
    try {
      work();
    } catch (...) {
      caught(where);
    }
  }

 private:
  void line(LogLevel level, std::string_view tag, std::string_view message, const CallSite& where) const noexcept;
  void caught(const CallSite& where) const noexcept;

  std::shared_ptr<platform::Clock> clock_;
  std::shared_ptr<platform::LogSink> sink_;
  LogLevel level_;
};

}  // namespace zul
