#pragma once

#include "zul/platform/LogSink.h"

namespace zul::platform {

/// Writes log lines to the standard error stream, each in one write so that lines of several threads and
/// processes do not mix. A line that cannot be written is dropped. Any thread may call it.
class StderrSink final : public LogSink {
 public:
  void write(std::string_view line) noexcept override;
};

}  // namespace zul::platform
