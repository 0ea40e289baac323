#pragma once

#include <optional>
#include <string>

namespace zul {

/// What the host knows of where an install or an opening came from.
struct Referrer {
  std::optional<std::string> deepLink;
  std::optional<std::string> referrer;
  std::optional<std::string> pushId;
};

}  // namespace zul
