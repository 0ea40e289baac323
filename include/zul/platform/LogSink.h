#pragma once

#include <string_view>

#include "zul/LogLevel.h"

namespace zul::platform {

/// Takes finished log lines, each with its line feed. Any thread may call it; it neither throws nor
/// keeps the line.
class LogSink {
 public:
  virtual ~LogSink() = default;
  virtual void write(std::string_view line) noexcept = 0;
  /// Whether lines of `level` are wanted just now; others are not even made, which for a long queue spares megabytes an
  /// event. Asked before each line.
  virtual bool wants(LogLevel level) const noexcept {
    static_cast<void>(level);
    return true;
  }
};

}  // namespace zul::platform
