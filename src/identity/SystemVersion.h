#pragma once

#include <string_view>

namespace zul {

/// Whether a system's version is at least major.minor. Of "17.2.1" the first two numbers count; what is no number
/// is 0.
bool isAtLeast(std::string_view version, int major, int minor = 0) noexcept;

}  // namespace zul
