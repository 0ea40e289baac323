#include "SystemVersion.h"

#include <charconv>
#include <utility>

namespace zul {

bool isAtLeast(std::string_view version, int major, int minor) noexcept {
  std::pair<int, int> numbers;
  const auto* const end = version.data() + version.size();
  const auto* const dot = std::from_chars(version.data(), end, numbers.first).ptr;
  if (dot != end && *dot == '.') std::from_chars(dot + 1, end, numbers.second);
  return numbers >= std::pair(major, minor);
}

}  // namespace zul
