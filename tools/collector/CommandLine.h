#pragma once

#include <optional>
#include <string>

#include "DevCollector.h"

namespace zul::collector {

/// What zul-collector was started with.
struct CommandLine {
  std::string address{};      ///< host and port to listen at, not looked into yet
  std::string answersFile{};  ///< empty: none
  CollectorOptions options{};
  bool quiet = false;  ///< print no line for each request
  /// When there is nothing more to do than to end with it: the help, or what is wrong, has been printed.
  std::optional<int> exitStatus{};
};

CommandLine readCommandLine(int argc, char** argv);

}  // namespace zul::collector
