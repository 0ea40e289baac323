#pragma once

#include <cstddef>
#include <mutex>
#include <string>
#include <string_view>

#include "zul/platform/LogSink.h"

namespace zul::test {

/// Keeps the log in memory. Any thread.
class KeptLog final : public platform::LogSink {
 public:
  void write(std::string_view line) noexcept override;
  std::string text() const;
  /// How often `part` is in it.
  std::size_t count(std::string_view part) const;
  void clear();

 private:
  mutable std::mutex mutex_;
  std::string text_;
};

}  // namespace zul::test
