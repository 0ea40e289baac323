#pragma once

#include <cstdint>
#include <optional>
#include <string_view>

namespace zul::platform {

/// Says over which kind of link, if any, packets would leave the device. Any thread may call it.
class Reachability {
 public:
  static constexpr std::uint32_t kReachable = 0x2;
  static constexpr std::uint32_t kConnectionRequired = 0x4;
  static constexpr std::uint32_t kIsWwan = 0x40000;

  virtual ~Reachability() = default;

  /// The flags of the route to the world; none when they cannot be read. `collectorHost` is the host
  /// that matters: when it is this machine, no route is needed.
  virtual std::optional<std::uint32_t> flags(std::string_view collectorHost) = 0;
};

}  // namespace zul::platform
