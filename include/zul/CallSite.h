#pragma once

#include <string_view>
#include <version>
#ifdef __cpp_lib_source_location
#include <source_location>
#endif

#include "zul/Export.h"

namespace zul {

/// Where a call stands in the source. As a default argument, `CallSite::current()` is the caller's place.
struct ZUL_EXPORT CallSite {
  std::string_view method;  ///< "zul::Tracker::initEnd"; the bare name where the compiler tells no more (clang 14)
  unsigned line = 0;

#ifdef __cpp_lib_source_location
  static CallSite current(std::source_location place = std::source_location::current()) noexcept {
    return of(place.function_name(), place.line());
  }
#else
  static CallSite current(const char* function = __builtin_FUNCTION(), unsigned line = __builtin_LINE()) noexcept {
    return of(function, line);
  }
#endif

 private:
  static CallSite of(const char* function, unsigned line) noexcept;
};

}  // namespace zul
