#pragma once

#include <string_view>

namespace zul {

/// The method out of a compiler's text for a function, a lambda's being the method that it stands in:
/// "zul::Tracker::initEnd" out of "void zul::Tracker::initEnd(int)::<lambda()>" (g++) and of
/// "auto zul::Tracker::initEnd(int)::(anonymous class)::operator()() const" (clang). A text without a parameter list is
/// taken for the name itself.
constexpr std::string_view methodName(std::string_view function) noexcept {
  constexpr std::string_view kAnonymous = "(anonymous namespace)";
  constexpr std::string_view kOperator = "operator";
  const auto isWordEnd = [](char c) { return c == ' ' || c == ':' || c == '*' || c == '&' || c == '>'; };
  std::size_t begin = 0;  // of the name, as far as is known
  std::size_t at = 0;
  int depth = 0;  // within the brackets of templates and anonymous namespaces
  while (at < function.size()) {
    const char c = function[at];
    if (depth == 0) {
      if (function.substr(at).starts_with(kAnonymous)) {
        at += kAnonymous.size();
        continue;
      }
      const bool atWord = at == begin || isWordEnd(function[at - 1]);
      if (atWord && function.substr(at).starts_with(kOperator)) {
        // Whatever follows up to the parameters belongs to it: "operator()", "operator<", "operator bool".
        at += kOperator.size();
        if (function.substr(at).starts_with("()")) at += 2;
        const auto end = function.find('(', at);
        return function.substr(begin, end == function.npos ? end : end - begin);
      }
      if (c == '(') return function.substr(begin, at - begin);
      if (c == ' ' || c == '*' || c == '&') begin = at + 1;
    }
    if (c == '<' || c == '{') ++depth;
    if (c == '>' || c == '}') --depth;
    ++at;
  }
  return function.substr(begin);
}

}  // namespace zul
