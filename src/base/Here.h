#pragma once

#include "MethodName.h"
#include "zul/CallSite.h"

namespace zul {

// Found while compiling. (clang 14 refuses consteval calls in templates; its optimizer does the same.)
#ifdef __clang__
constexpr
#else
consteval
#endif
    CallSite
    callSite(std::string_view function, unsigned line) noexcept {
  return {methodName(function), line};
}

}  // namespace zul

/// The place in the source where this stands, with its full method name on every compiler.
#define ZUL_HERE (::zul::callSite(__PRETTY_FUNCTION__, __LINE__))
