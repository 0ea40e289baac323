#include "PlistShape.h"

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <vector>

namespace zul::platform {

namespace {

constexpr std::uint8_t kMaxDepth = 100;
constexpr std::uint32_t kMaxWeight = 32u << 20;  // bytes of memory, roughly
constexpr std::uint32_t kObjectWeight = 64;

/// The objects of a binary property list as the parser will walk them. An object may be referred to from many
/// places, so what a small file stands for can be huge; each object is weighed once.
class BinaryShape {
 public:
  explicit BinaryShape(std::string_view text) : text_(text) {}

  bool isHonest() {
    constexpr std::size_t kTrailer = 32;
    if (text_.size() < kTrailer) return false;
    const std::size_t trailer = text_.size() - kTrailer;
    offsetSize_ = *number(trailer + 6, 1);
    referenceSize_ = *number(trailer + 7, 1);
    const std::uint64_t count = *number(trailer + 8, 8);
    const std::uint64_t root = *number(trailer + 16, 8);
    table_ = *number(trailer + 24, 8);
    if (count > text_.size() || table_ > text_.size()) return false;
    objects_.resize(count);
    return measure(root, 0) && objects_[root].weight <= kMaxWeight;
  }

 private:
  struct Object {
    bool entered = false;
    bool measured = false;
    bool isKey = false;  // text without a NUL: the parser ends the process over a key with one inside
    std::uint8_t height = 0;
    std::uint32_t weight = 0;
  };

  enum Kind : std::uint64_t { kAscii = 5, kUtf16 = 6, kFirstCollection = 0xA, kDictionary = 0xD };

  /// The big-endian number of `size` bytes at `place`; none beyond the text.
  std::optional<std::uint64_t> number(std::uint64_t place, std::uint64_t size) const {
    if (size == 0 || size > 8 || place > text_.size() || size > text_.size() - place) return std::nullopt;
    std::uint64_t value = 0;
    for (const char byte : text_.substr(place, size)) value = value << 8 | static_cast<unsigned char>(byte);
    return value;
  }

  /// False when the object, or one that it holds, is malformed, holds itself or lies too deep.
  bool measure(std::uint64_t index, unsigned depth) {
    if (index >= objects_.size()) return false;
    Object& object = objects_[index];
    if (object.measured) return depth + object.height <= kMaxDepth;
    if (object.entered || depth > kMaxDepth) return false;
    object.entered = true;

    const auto offset = number(table_ + index * offsetSize_, offsetSize_);
    const auto marker = offset ? number(*offset, 1) : std::nullopt;
    if (!marker) return false;
    std::uint64_t place = *offset + 1;
    std::uint64_t length = *marker & 0xF;
    const std::uint64_t kind = *marker >> 4;
    if (length == 0xF && kind >= 4) {
      const auto form = number(place, 1);
      if (!form || *form >> 4 != 1 || (*form & 0xF) > 3) return false;
      const std::uint64_t size = std::uint64_t{1} << (*form & 0xF);
      const auto longer = number(place + 1, size);
      if (!longer) return false;
      length = *longer;
      place += 1 + size;
    }
    if (length > text_.size()) return false;
    object.weight = static_cast<std::uint32_t>(kObjectWeight + 2 * std::min<std::uint64_t>(length, kMaxWeight));
    object.isKey = (kind == kAscii && !holdsNul(place, length, 1)) || (kind == kUtf16 && !holdsNul(place, length, 2));
    const std::uint64_t keys = kind == kDictionary ? length : 0;
    if (kind >= kFirstCollection && !measureChildren(object, place, keys, length + keys, depth)) return false;
    object.measured = true;
    return true;
  }

  bool holdsNul(std::uint64_t place, std::uint64_t count, std::uint64_t unit) const {
    for (std::uint64_t i = 0; i < count; ++i) {
      if (number(place + i * unit, unit).value_or(0) == 0) return true;
    }
    return false;
  }

  bool measureChildren(Object& object, std::uint64_t place, std::uint64_t keys, std::uint64_t count, unsigned depth) {
    for (std::uint64_t i = 0; i < count; ++i) {
      const auto child = number(place + i * referenceSize_, referenceSize_);
      if (!child || !measure(*child, depth + 1)) return false;
      if (i < keys && !objects_[*child].isKey) return false;
      object.height = std::max<std::uint8_t>(object.height, objects_[*child].height + 1);
      object.weight = std::min(object.weight + objects_[*child].weight, kMaxWeight + 1);
    }
    return true;
  }

  const std::string_view text_;
  std::uint64_t offsetSize_ = 0;
  std::uint64_t referenceSize_ = 0;
  std::uint64_t table_ = 0;
  std::vector<Object> objects_;
};

/// The place after the next `end`; the end of the text without one.
std::size_t after(std::string_view text, std::size_t place, std::string_view end) {
  const auto found = text.find(end, place);
  return found == text.npos ? text.size() : found + end.size();
}

bool isTag(std::string_view tag, std::string_view name) {
  return tag.starts_with(name) &&
         (tag.size() == name.size() || std::string_view(" \t\r\n/").find(tag[name.size()]) != tag.npos);
}

}  // namespace

bool isHonestBinaryPlist(std::string_view text) {
  return BinaryShape(text).isHonest();
}

bool isHonestXmlPlist(std::string_view text) {
  if (text.find('\0') != text.npos) return false;
  int depth = 0;
  for (std::size_t place = text.find('<'); place < text.size(); place = text.find('<', place)) {
    const std::string_view rest = text.substr(place);
    if (rest.starts_with("<!--")) {
      place = after(text, place + 4, "-->");
    } else if (rest.starts_with("<![CDATA[")) {
      place = after(text, place, "]]>");
    } else if (rest.starts_with("<?")) {
      place = after(text, place, "?>");
    } else {
      const auto end = rest.find_first_of("<>", 1);
      if (end == rest.npos || rest[end] == '<') return false;
      const std::string_view tag = rest.substr(1, end - 1);
      // A tag that ends within a quoted text is not what it seems.
      if (std::count(tag.begin(), tag.end(), '"') % 2 != 0 || std::count(tag.begin(), tag.end(), '\'') % 2 != 0) {
        return false;
      }
      if (tag.starts_with('!') && tag.find('[') != tag.npos) return false;  // a grammar of its own: no plist has one
      if ((isTag(tag, "/dict") || isTag(tag, "/array")) && --depth < 0) return false;
      if ((isTag(tag, "dict") || isTag(tag, "array")) && !tag.ends_with('/') && ++depth > kMaxDepth) return false;
      place += 1 + tag.size();
    }
  }
  return true;
}

}  // namespace zul::platform
