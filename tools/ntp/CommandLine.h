#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

namespace zul::ntptool {

/// What zul-ntp was started with.
struct CommandLine {
  std::vector<std::string> hosts{};
  std::uint16_t port = 123;
  double every = 5;             ///< seconds between two looks
  std::optional<double> serve;  ///< be a time server, so many seconds ahead
  /// When there is nothing more to do than to end with it: what there is to say has been printed.
  std::optional<int> exitStatus{};
};

CommandLine readCommandLine(int argc, char** argv);

}  // namespace zul::ntptool
