#pragma once

#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "zul/Export.h"

namespace zul {

/// A map from text to values of the JSON kinds, in the order of insertion. Integers, doubles and
/// booleans stay apart. A read of an absent key or of the wrong kind gives the empty value of the kind
/// asked for. A plain value: copy it, move it, use one object from one thread at a time.
class ZUL_EXPORT Dictionary {
 public:
  Dictionary() noexcept;
  Dictionary(const Dictionary& other);
  Dictionary(Dictionary&& other) noexcept;
  Dictionary& operator=(const Dictionary& other);
  Dictionary& operator=(Dictionary&& other) noexcept;
  ~Dictionary();

  /// The object that `json` holds; none when it is not the text of one JSON object.
  static std::optional<Dictionary> fromJson(std::string_view json);

  /// Compact JSON text.
  std::string json() const;

  bool empty() const noexcept;
  std::size_t size() const noexcept;
  bool contains(std::string_view key) const noexcept;
  std::vector<std::string> keys() const;

  std::optional<std::string> string(std::string_view key) const;
  std::int64_t integer(std::string_view key) const noexcept;  ///< a double is truncated
  double number(std::string_view key) const noexcept;         ///< integer or double
  bool boolean(std::string_view key) const noexcept;          ///< a number counts as true unless 0
  Dictionary dictionary(std::string_view key) const;
  std::vector<Dictionary> dictionaries(std::string_view key) const;  ///< the objects of an array

  void set(std::string_view key, std::string_view value);
  void set(std::string_view key, const char* value) { set(key, std::string_view(value)); }
  void set(std::string_view key, std::int64_t value);
  void set(std::string_view key, int value) { set(key, static_cast<std::int64_t>(value)); }
  void set(std::string_view key, double value);
  void set(std::string_view key, bool value);
  void set(std::string_view key, const Dictionary& value);
  void set(std::string_view key, const std::vector<Dictionary>& value);
  void remove(std::string_view key);

  friend bool operator==(const Dictionary& a, const Dictionary& b) noexcept { return equal(a, b); }

 private:
  friend struct DictionaryAccess;
  struct Object;
  static bool equal(const Dictionary& a, const Dictionary& b) noexcept;
  Object& object();

  std::unique_ptr<Object> object_;  // none while empty
};

}  // namespace zul
