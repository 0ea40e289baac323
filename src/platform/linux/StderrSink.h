#pragma once

#include <atomic>
#include <cstdint>

#include "zul/platform/LogSink.h"

namespace zul::platform {

/// Writes log lines to the standard error stream, each in one write so that lines of several threads and
/// processes do not mix. A line that cannot be written is dropped, and one that can only in part, because the stream
/// does not wait for its reader, is cut, and ended before the next. Any thread may call it.
class StderrSink final : public LogSink {
 public:
  void write(std::string_view line) noexcept override;
  /// Not where the stream is closed, or leads to the null device.
  bool wants(LogLevel level) const noexcept override;

 private:
  std::atomic<bool> cut_ = false;                   // the last line has no end yet
  mutable std::atomic<std::int64_t> askAgain_ = 0;  // seconds since the machine's start; until then it leads nowhere
};

}  // namespace zul::platform
