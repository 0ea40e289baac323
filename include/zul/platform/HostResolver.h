#pragma once

#include <string>
#include <vector>

namespace zul::platform {

/// Finds the addresses of hosts. Any thread may call it.
class HostResolver {
 public:
  struct Found {
    std::vector<std::string> addresses;  ///< numeric text, IPv4 and IPv6
    std::string error;                   ///< why there are none
  };

  virtual ~HostResolver() = default;

  /// Waits on the calling thread for as long as the system does, which may be minutes.
  virtual Found resolve(const std::string& host) = 0;
};

}  // namespace zul::platform
