#include <boost/json/basic_parser_impl.hpp>
#include <boost/json/object.hpp>
#include <boost/json/value.hpp>
#include <boost/json/value_stack.hpp>
#include <charconv>
#include <utility>

#include "Json.h"

namespace zul::json {

namespace {

using boost::json::error_code;
using boost::json::string_view;

/// Builds the value as the JSON library's own parser does, save for doubles: that one rounds twice, and one in eight
/// would come back as its neighbour.
class Builder {
 public:
  static constexpr std::size_t max_object_size = boost::json::object::max_size();
  static constexpr std::size_t max_array_size = boost::json::array::max_size();
  static constexpr std::size_t max_key_size = boost::json::string::max_size();
  static constexpr std::size_t max_string_size = boost::json::string::max_size();

  explicit Builder(boost::json::storage_ptr storage) { values_.reset(std::move(storage)); }
  boost::json::value release() { return values_.release(); }

  bool on_document_begin(error_code&) { return true; }
  bool on_document_end(error_code&) { return true; }
  bool on_object_begin(error_code&) { return true; }
  bool on_object_end(std::size_t members, error_code&) { return values_.push_object(members), true; }
  bool on_array_begin(error_code&) { return true; }
  bool on_array_end(std::size_t elements, error_code&) { return values_.push_array(elements), true; }
  bool on_key_part(string_view part, std::size_t, error_code&) { return values_.push_chars(part), true; }
  bool on_key(string_view rest, std::size_t, error_code&) { return values_.push_key(rest), true; }
  bool on_string_part(string_view part, std::size_t, error_code&) { return values_.push_chars(part), true; }
  bool on_string(string_view rest, std::size_t, error_code&) { return values_.push_string(rest), true; }
  bool on_number_part(string_view, error_code&) { return true; }  // the text is whole, and so are its numbers
  bool on_int64(std::int64_t value, string_view, error_code&) { return values_.push_int64(value), true; }
  bool on_uint64(std::uint64_t value, string_view, error_code&) { return values_.push_uint64(value), true; }
  bool on_double(double rounded, string_view digits, error_code&) {
    double value = 0;
    const auto end = digits.data() + digits.size();
    const auto read = std::from_chars(digits.data(), end, value);
    values_.push_double(read.ec == std::errc() && read.ptr == end ? value : rounded);
    return true;
  }
  bool on_bool(bool value, error_code&) { return values_.push_bool(value), true; }
  bool on_null(error_code&) { return values_.push_null(), true; }
  bool on_comment_part(string_view, error_code&) { return true; }
  bool on_comment(string_view, error_code&) { return true; }

 private:
  boost::json::value_stack values_;
};

}  // namespace

std::optional<boost::json::value> parse(std::string_view text, std::size_t maxDepth, boost::json::storage_ptr storage) {
  boost::json::parse_options options;
  options.max_depth = maxDepth;
  boost::json::basic_parser<Builder> parser(options, std::move(storage));
  error_code error;
  const auto read = parser.write_some(false, text.data(), text.size(), error);
  if (error || read != text.size()) return std::nullopt;
  return parser.handler().release();
}

std::optional<boost::json::object> parseObject(std::string_view text, std::size_t maxDepth) {
  auto value = parse(text, maxDepth);
  if (!value || !value->is_object()) return std::nullopt;
  return std::move(value->get_object());
}

}  // namespace zul::json
