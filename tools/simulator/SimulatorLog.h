#pragma once

#include <deque>
#include <string>
#include <string_view>

#include "zul/platform/LogSink.h"

namespace zul::simulator {

/// The library's log: on standard error unless it is switched off, and the latest lines in memory.
class SimulatorLog final : public platform::LogSink {
 public:
  explicit SimulatorLog(bool printing) : printing_(printing) {}

  void write(std::string_view line) noexcept override;

  /// The lines since the last clear(), as far as they were kept.
  const std::deque<std::string>& lines() const { return lines_; }
  void clear() { lines_.clear(); }

 private:
  static constexpr std::size_t kMostLines = 10'000;

  bool printing_;
  std::deque<std::string> lines_;
};

}  // namespace zul::simulator
