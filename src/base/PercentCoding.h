#pragma once

#include <optional>
#include <string>
#include <string_view>

namespace zul {

/// Encodes every byte but the ASCII letters, digits and "-._~" as a percent sign and two upper-case
/// hexadecimal digits.
std::string percentEncode(std::string_view text);

/// Encodes into `out`, which has room for three times the length of `text`; returns the end of what was
/// written.
char* percentEncode(std::string_view text, char* out) noexcept;

/// None when a percent sign is not followed by two hexadecimal digits. A plus sign stays one.
std::optional<std::string> percentDecode(std::string_view text);

}  // namespace zul
