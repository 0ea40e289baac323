#pragma once

#include <cstdint>
#include <limits>

namespace zul {

/// Sum and product of 64-bit integers, held at the end of the range where they would pass it.
constexpr std::int64_t saturatedSum(std::int64_t a, std::int64_t b) noexcept {
  using Limits = std::numeric_limits<std::int64_t>;
  std::int64_t result = 0;
  return __builtin_add_overflow(a, b, &result) ? (a < 0 ? Limits::min() : Limits::max()) : result;
}
constexpr std::int64_t saturatedProduct(std::int64_t a, std::int64_t b) noexcept {
  using Limits = std::numeric_limits<std::int64_t>;
  std::int64_t result = 0;
  return __builtin_mul_overflow(a, b, &result) ? ((a < 0) != (b < 0) ? Limits::min() : Limits::max()) : result;
}

}  // namespace zul
