#include "PercentCoding.h"

#include <array>
#include <cstring>

namespace zul {

namespace {

struct Code {
  char text[3];
  unsigned char length;
};

constexpr std::array<Code, 256> kCodes = [] {
  constexpr char kHex[] = "0123456789ABCDEF";
  std::array<Code, 256> codes{};
  for (int byte = 0; byte < 256; ++byte) {
    const char c = static_cast<char>(byte);
    const bool plain = (c >= 'A' && c <= 'Z') || (c >= 'a' && c <= 'z') || (c >= '0' && c <= '9') || c == '-' ||
                       c == '.' || c == '_' || c == '~';
    if (plain) {
      codes[byte] = {{c, 0, 0}, 1};
    } else {
      codes[byte] = {{'%', kHex[byte >> 4], kHex[byte & 15]}, 3};
    }
  }
  return codes;
}();

int hexValue(char c) {
  if (c >= '0' && c <= '9') return c - '0';
  if (c >= 'A' && c <= 'F') return c - 'A' + 10;
  if (c >= 'a' && c <= 'f') return c - 'a' + 10;
  return -1;
}

}  // namespace

char* percentEncode(std::string_view text, char* out) noexcept {
  // Three bytes are always stored and the position moves by one or three: no branch on the data.
  for (const char c : text) {
    const Code& code = kCodes[static_cast<unsigned char>(c)];
    std::memcpy(out, code.text, 3);
    out += code.length;
  }
  return out;
}

std::string percentEncode(std::string_view text) {
  std::string out(text.size() * 3, '\0');
  out.resize(static_cast<std::size_t>(percentEncode(text, out.data()) - out.data()));
  return out;
}

std::optional<std::string> percentDecode(std::string_view text) {
  std::string out;
  out.reserve(text.size());
  for (std::size_t i = 0; i < text.size(); ++i) {
    if (text[i] != '%') {
      out += text[i];
      continue;
    }
    if (i + 2 >= text.size()) return std::nullopt;
    const int high = hexValue(text[i + 1]);
    const int low = hexValue(text[i + 2]);
    if (high < 0 || low < 0) return std::nullopt;
    out += static_cast<char>(high << 4 | low);
    i += 2;
  }
  return out;
}

}  // namespace zul
