#include "IntegerValue.h"

#include <charconv>
#include <limits>
#include <system_error>

namespace zul {

std::int64_t integerValue(std::string_view text) noexcept {
  const auto begin = text.find_first_not_of(" \t\n\v\f\r");
  if (begin == text.npos) return 0;
  text.remove_prefix(begin);
  const bool plus = text.front() == '+';
  if (plus) text.remove_prefix(1);
  if (plus && text.starts_with('-')) return 0;
  std::int64_t number = 0;
  const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), number);
  if (error != std::errc::result_out_of_range) return number;
  using Limits = std::numeric_limits<std::int64_t>;
  return text.front() == '-' ? Limits::min() : Limits::max();
}

}  // namespace zul
