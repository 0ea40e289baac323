#pragma once

#include <cstdint>
#include <string_view>

namespace zul {

/// The digits that a text begins with, after white space and a sign, as a number: held within the range of 64 bits, 0
/// without any.
std::int64_t integerValue(std::string_view text) noexcept;

}  // namespace zul
