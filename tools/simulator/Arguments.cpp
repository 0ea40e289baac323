#include "Arguments.h"

#include <fmt/format.h>

#include <boost/json/stream_parser.hpp>
#include <charconv>
#include <cmath>

#include "Json.h"

namespace zul::simulator {

namespace {

constexpr std::string_view kSpaces = " \t\r";

// Enough of a text to find the place.
std::string excerpt(std::string_view text) {
  constexpr std::size_t kLength = 60;
  return text.size() <= kLength ? std::string(text) : fmt::format("{}...", text.substr(0, kLength));
}

// The JSON value that `rest` begins with; what follows it and the space behind it stays in `rest`.
boost::json::value takeValue(std::string_view& rest) {
  boost::json::parse_options options;
  options.max_depth = json::kMaxDepth;
  boost::json::stream_parser parser({}, options);
  boost::json::error_code error;
  const auto length = parser.write_some(rest.data(), rest.size(), error);
  if (error || !parser.done()) {
    throw CommandError(fmt::format("{}: {}", error ? error.message() : "the JSON value does not end", excerpt(rest)));
  }
  const bool spaced = kSpaces.find(rest[length - 1]) != kSpaces.npos;
  rest.remove_prefix(length);
  if (!spaced && !rest.empty()) throw CommandError(fmt::format("a space is missing before: {}", excerpt(rest)));
  return parser.release();
}

}  // namespace

Arguments::Arguments(std::string_view line) {
  for (;;) {
    line.remove_prefix(std::min(line.find_first_not_of(kSpaces), line.size()));
    if (line.empty() || line.front() == '#') return;
    const auto begin = line;
    Word word;
    if (line.front() == '{' || line.front() == '[' || line.front() == '"') {
      word.value = takeValue(line);
      word.text = begin.substr(0, begin.size() - line.size());
    } else {
      const auto length = std::min(line.find_first_of(kSpaces), line.size());
      word.text = line.substr(0, length);
      word.value = json::parse(word.text);
      line.remove_prefix(length);
    }
    words_.push_back(std::move(word));
  }
}

Arguments::Word Arguments::next(std::string_view what) {
  if (words_.empty()) throw CommandError(fmt::format("{} is missing", what));
  auto word = std::move(words_.front());
  words_.pop_front();
  return word;
}

std::string Arguments::word(std::string_view what) {
  const auto word = next(what);
  if (word.value && word.value->is_string()) return std::string(word.value->get_string());
  if (word.value && word.value->is_structured())
    throw CommandError(fmt::format("{} is not {}", excerpt(word.text), what));
  return word.text;
}

bool Arguments::take(std::string_view word) {
  if (words_.empty() || words_.front().text != word) return false;
  words_.pop_front();
  return true;
}

bool Arguments::isValue() const {
  return !words_.empty() && words_.front().value.has_value();
}

boost::json::value Arguments::value(std::string_view what) {
  auto word = next(what);
  if (!word.value) throw CommandError(fmt::format("{} must be a JSON value, and {} is none", what, excerpt(word.text)));
  return std::move(*word.value);
}

boost::json::object Arguments::object(std::string_view what) {
  auto object = value(what);
  if (!object.is_object()) throw CommandError(fmt::format("{} must be a JSON object", what));
  return std::move(object.get_object());
}

std::string Arguments::text(std::string_view what) {
  const auto text = value(what);
  if (!text.is_string()) throw CommandError(fmt::format("{} must be a JSON string", what));
  return std::string(text.get_string());
}

double Arguments::duration(std::string_view what) {
  const auto text = word(what);
  const auto seconds = parseDuration(text);
  if (!seconds)
    throw CommandError(fmt::format("{} must be like 500ms, 6s, 10m, 24h or 30d, and at most a thousand years, not {}",
                                   what, excerpt(text)));
  return *seconds;
}

void Arguments::end() const {
  if (!words_.empty()) throw CommandError(fmt::format("too much: {}", excerpt(words_.front().text)));
}

std::optional<double> parseDuration(std::string_view text) {
  double number = 0;
  const auto [unit, error] = std::from_chars(text.data(), text.data() + text.size(), number);
  if (error != std::errc{} || !std::isfinite(number) || number < 0) return std::nullopt;
  constexpr std::pair<std::string_view, double> kUnits[] = {
      {"ms", 0.001}, {"s", 1}, {"m", 60}, {"h", 3600}, {"d", 86400}};
  for (const auto& [name, seconds] : kUnits) {
    if (text.substr(static_cast<std::size_t>(unit - text.data())) != name) continue;
    if (number * seconds <= kLongestDuration) return number * seconds;
  }
  return std::nullopt;
}

}  // namespace zul::simulator
