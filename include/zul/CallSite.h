#pragma once

#include <string_view>
#include <version>
#ifdef __cpp_lib_source_location
#include <source_location>
#endif

namespace zul {

/// Where a call stands in the source. As a default argument, `CallSite::current()` is the caller's place.
struct CallSite {
  const char* function = "";  ///< with its class where the compiler can tell, else the bare name
  unsigned line = 0;

#ifdef __cpp_lib_source_location
  static constexpr CallSite current(std::source_location place = std::source_location::current()) noexcept {
    return {place.function_name(), place.line()};
  }
#else
  static constexpr CallSite current(const char* function = __builtin_FUNCTION(),
                                    unsigned line = __builtin_LINE()) noexcept {
    return {function, line};
  }
#endif

  /// "zul::Tracker::initEnd" out of "void zul::Tracker::initEnd(int)::<lambda()>".
  constexpr std::string_view method() const noexcept {
    std::string_view name = function;
    if (const auto parenthesis = name.find('('); parenthesis != name.npos) name = name.substr(0, parenthesis);
    if (const auto blank = name.rfind(' '); blank != name.npos) name = name.substr(blank + 1);
    return name;
  }
};

}  // namespace zul
