#include "Json.h"

#include <array>
#include <boost/json/object.hpp>
#include <boost/json/value.hpp>
#include <charconv>
#include <cmath>
#include <limits>
#include <utility>

#include "Utf8.h"

namespace zul::json {

namespace {

// 0: as it stands; 'u': as \u00XX; kBeyondAscii: a piece of UTF-8; else the letter behind the backslash.
constexpr char kBeyondAscii = 1;
constexpr std::array<char, 256> kEscapes = [] {
  std::array<char, 256> table{};
  for (int c = 0x80; c < 0x100; ++c) table[c] = kBeyondAscii;
  for (int c = 0; c < 0x20; ++c) table[c] = 'u';
  table['"'] = '"';
  table['\\'] = '\\';
  table['\b'] = 'b';
  table['\f'] = 'f';
  table['\n'] = 'n';
  table['\r'] = 'r';
  table['\t'] = 't';
  return table;
}();

void appendDouble(std::string& out, double value) {
  if (!std::isfinite(value)) {
    out += "null";
    return;
  }
  char buffer[32];
  const auto end = std::to_chars(buffer, buffer + sizeof buffer, value).ptr;
  const std::string_view digits(buffer, static_cast<std::size_t>(end - buffer));
  out += digits;
  if (digits.find_first_of(".e") == std::string_view::npos) out += ".0";
}

template <typename Integer>
void appendInteger(std::string& out, Integer value) {
  char buffer[24];
  out.append(buffer, std::to_chars(buffer, buffer + sizeof buffer, value).ptr);
}

void appendValue(std::string& out, const boost::json::value& value) {
  switch (value.kind()) {
    case boost::json::kind::null:
      out += "null";
      break;
    case boost::json::kind::bool_:
      out += value.get_bool() ? "true" : "false";
      break;
    case boost::json::kind::int64:
      appendInteger(out, value.get_int64());
      break;
    case boost::json::kind::uint64:
      appendInteger(out, value.get_uint64());
      break;
    case boost::json::kind::double_:
      appendDouble(out, value.get_double());
      break;
    case boost::json::kind::string:
      appendQuoted(out, value.get_string());
      break;
    case boost::json::kind::array: {
      out += '[';
      bool first = true;
      for (const auto& element : value.get_array()) {
        if (!first) out += ',';
        first = false;
        appendValue(out, element);
      }
      out += ']';
      break;
    }
    case boost::json::kind::object:
      append(out, value.get_object());
      break;
  }
}

bool isStructural(char c) {
  return c == '{' || c == '}' || c == '[' || c == ']' || c == ',' || c == ':';
}
bool isSpace(char c) {
  return c == ' ' || c == '\n' || c == '\r' || c == '\t';
}

// The end of the string that begins at `at`.
const char* afterString(const char* at, const char* end) {
  for (++at; at < end && *at != '"'; ++at) {
    if (*at == '\\') ++at;
  }
  return at < end ? at + 1 : end;
}

void newLine(std::string& out, int depth) {
  out += '\n';
  if (depth > 0) out.append(static_cast<std::size_t>(depth) * 2, ' ');
}

}  // namespace

std::vector<std::string_view> elements(std::string_view array) {
  std::vector<std::string_view> found;
  const char* at = array.data();
  const char* const end = at + array.size();
  while (at < end && *at != '[') ++at;
  const char* begin = ++at;
  bool empty = true;
  int depth = 0;
  while (at < end) {
    const char c = *at;
    if (depth == 0 && (c == ',' || c == ']')) {
      if (!empty) found.emplace_back(begin, static_cast<std::size_t>(at - begin));
      if (c == ']') break;
      begin = at + 1;
    } else {
      if (c == '{' || c == '[') ++depth;
      if (c == '}' || c == ']') --depth;
      empty = empty && isSpace(c);
    }
    at = c == '"' ? afterString(at, end) : at + 1;
  }
  return found;
}

void appendQuoted(std::string& out, std::string_view value) {
  static constexpr char kHex[] = "0123456789abcdef";
  static constexpr std::string_view kReplacement = "\xEF\xBF\xBD";  // U+FFFD
  out += '"';
  std::size_t copied = 0;
  for (std::size_t i = 0; i < value.size(); ++i) {
    const auto byte = static_cast<unsigned char>(value[i]);
    const char escape = kEscapes[byte];
    if (escape == 0) continue;
    if (escape == kBeyondAscii) {
      if (const auto length = utf8Length(value, i); length != 0) {
        i += length - 1;
        continue;
      }
      out.append(value, copied, i - copied);
      copied = i + 1;
      out += kReplacement;
      continue;
    }
    out.append(value, copied, i - copied);
    copied = i + 1;
    out += '\\';
    out += escape;
    if (escape == 'u') {
      out += "00";
      out += kHex[byte >> 4];
      out += kHex[byte & 15];
    }
  }
  out.append(value, copied, value.size() - copied);
  out += '"';
}

void append(std::string& out, const boost::json::value& value) {
  appendValue(out, value);
}

void append(std::string& out, const boost::json::object& object) {
  out += '{';
  bool first = true;
  for (const auto& member : object) {
    if (!first) out += ',';
    first = false;
    appendQuoted(out, member.key());
    out += ':';
    appendValue(out, member.value());
  }
  out += '}';
}

std::string text(const boost::json::value& value) {
  std::string out;
  appendValue(out, value);
  return out;
}

std::string text(const boost::json::object& object) {
  std::string out;
  append(out, object);
  return out;
}

void appendPretty(std::string& out, std::string_view compact, int depth) {
  const char* at = compact.data();
  const char* const end = at + compact.size();
  while (at < end) {
    // Everything between two structural characters is copied in one piece.
    const char* const piece = at;
    while (at < end && !isStructural(*at)) at = *at == '"' ? afterString(at, end) : at + 1;
    out.append(piece, at);
    if (at == end) break;
    const char c = *at++;
    switch (c) {
      case '{':
      case '[':
        out += c;
        if (at < end && (*at == '}' || *at == ']')) {
          out += *at++;
        } else {
          newLine(out, ++depth);
        }
        break;
      case '}':
      case ']':
        newLine(out, --depth);
        out += c;
        break;
      case ',':
        out += c;
        newLine(out, depth);
        break;
      default:
        out += " : ";
        break;
    }
  }
}

void appendCompact(std::string& out, std::string_view pretty) {
  const char* at = pretty.data();
  const char* const end = at + pretty.size();
  while (at < end) {
    while (at < end && isSpace(*at)) ++at;
    const char* const piece = at;
    while (at < end && !isSpace(*at)) at = *at == '"' ? afterString(at, end) : at + 1;
    out.append(piece, at);
  }
}

const boost::json::value* find(const boost::json::object& object, std::string_view key) noexcept {
  return object.if_contains(key);
}

std::optional<std::string> string(const boost::json::object& object, std::string_view key) {
  const auto* value = find(object, key);
  if (!value || !value->is_string()) return std::nullopt;
  return std::string(value->get_string());
}

std::optional<double> number(const boost::json::object& object, std::string_view key) noexcept {
  const auto* value = find(object, key);
  if (!value) return std::nullopt;
  if (value->is_double()) return value->get_double();
  if (value->is_int64()) return static_cast<double>(value->get_int64());
  if (value->is_uint64()) return static_cast<double>(value->get_uint64());
  return std::nullopt;
}

std::int64_t integer(const boost::json::object& object, std::string_view key) noexcept {
  const auto* value = find(object, key);
  return value ? integer(*value) : 0;
}

std::int64_t integer(const boost::json::value& value) noexcept {
  if (value.is_int64()) return value.get_int64();
  if (value.is_uint64()) return std::numeric_limits<std::int64_t>::max();
  if (value.is_double()) return truncate(value.get_double());
  return 0;
}

bool boolean(const boost::json::object& object, std::string_view key) noexcept {
  const auto* value = find(object, key);
  if (!value) return false;
  if (value->is_bool()) return value->get_bool();
  return number(object, key).value_or(0) != 0;
}

// The library's own operator== copies what it compares, and ends the process where memory is short.
bool equal(const boost::json::value& a, const boost::json::value& b) noexcept {
  if (a.kind() != b.kind()) return false;
  switch (a.kind()) {
    case boost::json::kind::null:
      return true;
    case boost::json::kind::bool_:
      return a.get_bool() == b.get_bool();
    case boost::json::kind::int64:
      return a.get_int64() == b.get_int64();
    case boost::json::kind::uint64:
      return a.get_uint64() == b.get_uint64();
    case boost::json::kind::double_:
      return a.get_double() == b.get_double();
    case boost::json::kind::string:
      return std::string_view(a.get_string()) == std::string_view(b.get_string());
    case boost::json::kind::array: {
      const auto& x = a.get_array();
      const auto& y = b.get_array();
      if (x.size() != y.size()) return false;
      for (std::size_t n = 0; n < x.size(); ++n) {
        if (!equal(x[n], y[n])) return false;
      }
      return true;
    }
    case boost::json::kind::object:
      return equal(a.get_object(), b.get_object());
  }
  return false;
}

bool equal(const boost::json::object& a, const boost::json::object& b) noexcept {
  if (a.size() != b.size()) return false;
  for (auto member = a.begin(); member != a.end(); ++member) {
    const auto* const other = b.if_contains(member->key());
    if (!other || !equal(member->value(), *other)) return false;
  }
  return true;
}

std::int64_t truncate(double value) noexcept {
  constexpr double kLimit = 9223372036854775808.0;  // 2^63
  if (std::isnan(value)) return 0;
  if (value >= kLimit) return std::numeric_limits<std::int64_t>::max();
  if (value < -kLimit) return std::numeric_limits<std::int64_t>::min();
  return static_cast<std::int64_t>(value);
}

}  // namespace zul::json
