#pragma once

#include <boost/json/object.hpp>
#include <boost/json/value.hpp>
#include <deque>
#include <optional>
#include <stdexcept>
#include <string>
#include <string_view>

namespace zul::simulator {

/// Why a command cannot be done.
struct CommandError : std::runtime_error {
  using std::runtime_error::runtime_error;
};

/// The words of one line, taken one after the other: bare words and JSON values, up to a word that begins with "#".
/// Taking what is not there, or is of another kind, throws CommandError.
class Arguments {
 public:
  explicit Arguments(std::string_view line);

  bool empty() const { return words_.empty(); }

  /// The next word, bare or as a JSON string; `what` names it in an error.
  std::string word(std::string_view what);
  /// Takes the next word when it is this bare one.
  bool take(std::string_view word);

  bool isValue() const;  ///< whether a JSON value is next
  boost::json::value value(std::string_view what);
  boost::json::object object(std::string_view what);
  std::string text(std::string_view what);
  /// In seconds.
  double duration(std::string_view what);

  /// Throws when words are left.
  void end() const;

 private:
  struct Word {
    std::string text;
    std::optional<boost::json::value> value;  // where the word is one
  };

  Word next(std::string_view what);

  std::deque<Word> words_;
};

/// A thousand years, in seconds: what a simulation can be asked for.
inline constexpr double kLongestDuration = 365'250.0 * 86400;

/// "90s" in seconds; the units are ms, s, m, h and d. None when it is no such text, or longer than the longest.
std::optional<double> parseDuration(std::string_view text);

}  // namespace zul::simulator
