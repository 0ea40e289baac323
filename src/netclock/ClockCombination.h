#pragma once

#include <cstddef>
#include <optional>
#include <span>
#include <vector>

namespace zul {

/// What several time servers amount to.
struct ClockCombination {
  /// What each server contributes.
  struct Server {
    bool active = false;
    bool trusty = false;
    double offset = 0;      ///< seconds
    double dispersion = 0;  ///< milliseconds
  };

  static constexpr std::size_t kMostAveraged = 8;
  /// Only while there are so many servers is one given up.
  static constexpr std::size_t kTooMany = 9;

  std::optional<double> offset;      ///< seconds, device minus network; none without a server to trust
  std::vector<std::size_t> givenUp;  ///< servers that answer and are not to be trusted, by index
};

/// The mean offset of the trusted servers with the least dispersion.
ClockCombination combine(std::span<const ClockCombination::Server> servers);

}  // namespace zul
