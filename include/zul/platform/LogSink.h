#pragma once

#include <string_view>

namespace zul::platform {

/// Takes finished log lines, each with its line feed. Any thread may call it; it neither throws nor
/// keeps the line.
class LogSink {
 public:
  virtual ~LogSink() = default;
  virtual void write(std::string_view line) noexcept = 0;
};

}  // namespace zul::platform
