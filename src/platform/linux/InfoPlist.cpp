#include "InfoPlist.h"

#include <plist/plist.h>

#include <boost/json/array.hpp>
#include <boost/json/value.hpp>
#include <cstdint>
#include <cstdlib>
#include <memory>

#include "PlistShape.h"
#include "Utf8.h"

namespace zul::platform {

namespace {

struct Free {
  void operator()(void* plain) const { std::free(plain); }
};

struct FreePlist {
  void operator()(plist_t plist) const { plist_free(plist); }
};

std::optional<boost::json::value> convert(plist_t node);

boost::json::array convertArray(plist_t node) {
  boost::json::array array;
  plist_array_iter start = nullptr;
  plist_array_new_iter(node, &start);
  const std::unique_ptr<void, Free> iterator(start);
  for (;;) {
    plist_t item = nullptr;
    plist_array_next_item(node, iterator.get(), &item);
    if (item == nullptr) return array;
    if (auto value = convert(item)) array.push_back(std::move(*value));
  }
}

boost::json::object convertDictionary(plist_t node) {
  boost::json::object object;
  plist_dict_iter start = nullptr;
  plist_dict_new_iter(node, &start);
  const std::unique_ptr<void, Free> iterator(start);
  for (;;) {
    char* text = nullptr;
    plist_t item = nullptr;
    plist_dict_next_item(node, iterator.get(), &text, &item);
    const std::unique_ptr<char, Free> key(text);
    if (item == nullptr) return object;
    auto value = key != nullptr && isUtf8(key.get()) ? convert(item) : std::nullopt;
    if (value) object[key.get()] = std::move(*value);
  }
}

/// None for a kind that has no place among the JSON kinds.
std::optional<boost::json::value> convert(plist_t node) {
  switch (plist_get_node_type(node)) {
    case PLIST_BOOLEAN: {
      std::uint8_t value = 0;
      plist_get_bool_val(node, &value);
      return value != 0;
    }
    case PLIST_UINT: {
      std::uint64_t value = 0;  // negative integers come as their two's complement
      plist_get_uint_val(node, &value);
      return static_cast<std::int64_t>(value);
    }
    case PLIST_REAL: {
      double value = 0;
      plist_get_real_val(node, &value);
      return value;
    }
    case PLIST_STRING: {
      std::uint64_t length = 0;
      const char* text = plist_get_string_ptr(node, &length);
      const std::string_view value(text != nullptr ? text : "", text != nullptr ? length : 0);
      if (!isUtf8(value)) return std::nullopt;
      return boost::json::value(value);
    }
    case PLIST_ARRAY:
      return convertArray(node);
    case PLIST_DICT:
      return convertDictionary(node);
    default:
      return std::nullopt;
  }
}

}  // namespace

std::optional<boost::json::object> parseInfoPlist(std::string_view text, std::string& error) {
  const auto length = static_cast<std::uint32_t>(text.size());
  const bool isBinary = plist_is_binary(text.data(), length) != 0;
  if (isBinary ? !isHonestBinaryPlist(text) : !isHonestXmlPlist(text)) {
    error = "malformed, or nested too deep";
    return std::nullopt;
  }
  plist_t root = nullptr;
  (isBinary ? plist_from_bin : plist_from_xml)(text.data(), length, &root);
  const std::unique_ptr<void, FreePlist> owner(root);
  if (root == nullptr) {
    error = "not a property list";
    return std::nullopt;
  }
  if (plist_get_node_type(root) != PLIST_DICT) {
    error = "its root is not a dictionary";
    return std::nullopt;
  }
  return convertDictionary(root);
}

}  // namespace zul::platform
