#pragma once

#include "zul/platform/HostResolver.h"

namespace zul::platform {

/// The system's own look-up: its hosts file, its name servers, its patience.
class LinuxHostResolver final : public HostResolver {
 public:
  Found resolve(const std::string& host) override;
};

}  // namespace zul::platform
