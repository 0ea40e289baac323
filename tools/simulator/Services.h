#pragma once

#include <string_view>

#include "RecordedRequest.h"

namespace zul::simulator {

/// A service that a script gives answers of.
struct Service {
  std::string_view name;
  collector::Endpoint endpoint;
  std::string_view missing;  ///< the capability that asks it, where that is not built yet
};

inline constexpr Service kServices[] = {
    {"token", collector::Endpoint::token, ""},
    {"upload", collector::Endpoint::upload, ""},
    {"errorlog", collector::Endpoint::errorlog, ""},
    {"appstore", collector::Endpoint::appstore, ""},
    {"pushclick", collector::Endpoint::pushclick, "push"},
    {"fingerprint", collector::Endpoint::fingerprint, "attribution"},
    {"searchads", collector::Endpoint::unknown, "attribution"},
};

}  // namespace zul::simulator
