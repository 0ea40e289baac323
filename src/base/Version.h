#pragma once

#include <string_view>

namespace zul {

/// The library's version: in payloads as "sdk_version", in the User-Agent of requests, and, read from this line, the
/// version of the project and its packages.
inline constexpr std::string_view kSdkVersion = "1.1.5";

}  // namespace zul
