#pragma once

#include <cstddef>
#include <string_view>

namespace zul {

/// How many bytes the well-formed UTF-8 sequence at `at` has; 0 when there is none.
std::size_t utf8Length(std::string_view text, std::size_t at) noexcept;

/// True when all of `text` is well-formed UTF-8.
bool isUtf8(std::string_view text) noexcept;

}  // namespace zul
