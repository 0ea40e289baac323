#pragma once

#include <boost/json/fwd.hpp>
#include <boost/json/storage_ptr.hpp>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "zul/Dictionary.h"

/// JSON text to and from the values that the code works on. Integers and doubles stay apart: a double
/// is always written with a fraction or an exponent, so that it comes back as one.
namespace zul::json {

/// Levels of nesting that an honest text stays below.
constexpr std::size_t kMaxDepth = 64;
/// The same of a payload or a document, whose host may have nested values by hand.
constexpr std::size_t kMaxPayloadDepth = 1024;

/// The value of a whole text, in the memory of `storage`; none when the text is not valid JSON or is nested too deep.
/// Throws std::bad_alloc where memory is short, which is no verdict on the text.
std::optional<boost::json::value> parse(std::string_view text, std::size_t maxDepth = kMaxDepth,
                                        boost::json::storage_ptr storage = {});

/// The same where only an object will do.
std::optional<boost::json::object> parseObject(std::string_view text, std::size_t maxDepth = kMaxDepth);

/// The texts of the elements of `array`, the text of a valid JSON array, as they stand.
std::vector<std::string_view> elements(std::string_view array);

/// Compact text, always valid: numbers that JSON cannot write (infinity, not a number) become null, bytes that are
/// not UTF-8 become U+FFFD.
std::string text(const boost::json::value& value);
std::string text(const boost::json::object& object);
void append(std::string& out, const boost::json::value& value);
void append(std::string& out, const boost::json::object& object);

/// Appends `compact`, the text of one valid JSON value, to `out` in the indented form, as it stands at
/// `depth` levels of indentation.
void appendPretty(std::string& out, std::string_view compact, int depth);

/// Appends `pretty`, the text of one valid JSON value, to `out` without the white space between its parts.
void appendCompact(std::string& out, std::string_view pretty);

/// Appends `value` to `out` as a quoted JSON string, bytes that are not UTF-8 as U+FFFD.
void appendQuoted(std::string& out, std::string_view value);

/// Typed reads: an absent key or the wrong kind gives the empty value.
const boost::json::value* find(const boost::json::object& object, std::string_view key) noexcept;
std::optional<std::string> string(const boost::json::object& object, std::string_view key);
std::optional<double> number(const boost::json::object& object, std::string_view key) noexcept;
std::int64_t integer(const boost::json::object& object, std::string_view key) noexcept;
bool boolean(const boost::json::object& object, std::string_view key) noexcept;
/// A number as an integer: cut off towards zero and held within the range; 0 for any other kind.
std::int64_t integer(const boost::json::value& value) noexcept;

/// Whether two values are the same, kinds included, whatever the order of members. Takes no memory.
bool equal(const boost::json::value& a, const boost::json::value& b) noexcept;
bool equal(const boost::json::object& a, const boost::json::object& b) noexcept;

/// A double as a 64-bit integer, cut off towards zero and held within the type's range; 0 for NaN.
std::int64_t truncate(double value) noexcept;

}  // namespace zul::json

namespace zul {

/// The object behind a Dictionary, for the library's own code.
struct DictionaryAccess {
  static const boost::json::object& object(const Dictionary& dictionary) noexcept;
  static Dictionary wrap(boost::json::object object);
};

}  // namespace zul
