#pragma once

#include <optional>
#include <string>

#include "Simulator.h"

namespace zul::simulator {

/// What zul-sim was started with.
struct CommandLine {
  std::string scriptFile{};   ///< empty: standard input
  std::string command{};      ///< to be run before all others; empty: none
  bool commandAlone = false;  ///< there are no others
  bool transcript = false;
  SimulatorOptions options{};
  /// When there is nothing more to do than to end with it: the help, or what is wrong, has been printed.
  std::optional<int> exitStatus{};
};

CommandLine readCommandLine(int argc, char** argv);

}  // namespace zul::simulator
