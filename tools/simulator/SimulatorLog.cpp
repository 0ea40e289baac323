#include "SimulatorLog.h"

#include <cstdio>

namespace zul::simulator {

void SimulatorLog::write(std::string_view line) noexcept {
  if (printing_) std::fwrite(line.data(), 1, line.size(), stderr);
  if (line.ends_with('\n')) line.remove_suffix(1);
  try {
    lines_.emplace_back(line);
    if (lines_.size() > kMostLines) lines_.pop_front();
  } catch (...) {  // no memory: the line is not kept
  }
}

}  // namespace zul::simulator
