#pragma once

#include <functional>
#include <optional>
#include <string>

namespace zul::simulator {

/// The lines of a file descriptor. While none is there, `idle` is called over and over, and must take its time.
class LineReader {
 public:
  /// Without `idle` the reading waits.
  LineReader(int file, std::function<void()> idle) : file_(file), idle_(std::move(idle)) {}

  /// The next line without its end; none at the end of the file. Throws std::system_error when it cannot be read.
  std::optional<std::string> next();

 private:
  void fill();

  int file_;
  std::function<void()> idle_;
  std::string read_;  // from at_ on not given out yet
  std::size_t at_ = 0;
  bool ended_ = false;
};

}  // namespace zul::simulator
