#include "Utf8.h"

namespace zul {

std::size_t utf8Length(std::string_view text, std::size_t at) noexcept {
  const auto byte = [&](std::size_t i) { return static_cast<unsigned char>(text[i]); };
  const unsigned first = byte(at);
  if (first < 0x80) return 1;
  const std::size_t length = first >= 0xF0 ? 4 : first >= 0xE0 ? 3 : 2;
  if (first < 0xC2 || first > 0xF4 || text.size() - at < length) return 0;
  unsigned code = first & (0xFF >> (length + 1));
  for (std::size_t i = 1; i < length; ++i) {
    const unsigned next = byte(at + i);
    if ((next & 0xC0) != 0x80) return 0;
    code = code << 6 | (next & 0x3F);
  }
  constexpr unsigned kSmallest[] = {0, 0, 0x80, 0x800, 0x10000};
  const bool surrogate = code >= 0xD800 && code < 0xE000;
  return code < kSmallest[length] || code > 0x10FFFF || surrogate ? 0 : length;
}

bool isUtf8(std::string_view text) noexcept {
  for (std::size_t at = 0; at < text.size();) {
    const auto length = utf8Length(text, at);
    if (length == 0) return false;
    at += length;
  }
  return true;
}

}  // namespace zul
