#pragma once

#include "zul/Export.h"

/// The library's version: in payloads, in the User-Agent of requests and, read from these lines, in the packages.
#define ZUL_VERSION_MAJOR 1
#define ZUL_VERSION_MINOR 1
#define ZUL_VERSION_PATCH 5

/// One number to compare with: #if ZUL_VERSION >= ZUL_VERSION_NUMBER(1, 2, 0)
#define ZUL_VERSION_NUMBER(major, minor, patch) ((major)*10000 + (minor)*100 + (patch))
#define ZUL_VERSION ZUL_VERSION_NUMBER(ZUL_VERSION_MAJOR, ZUL_VERSION_MINOR, ZUL_VERSION_PATCH)

/// "1.1.5"
#define ZUL_VERSION_STRING \
  ZUL_VERSION_TEXT(ZUL_VERSION_MAJOR) "." ZUL_VERSION_TEXT(ZUL_VERSION_MINOR) "." ZUL_VERSION_TEXT(ZUL_VERSION_PATCH)
#define ZUL_VERSION_TEXT(number) ZUL_VERSION_QUOTED(number)
#define ZUL_VERSION_QUOTED(number) #number

namespace zul {

extern "C" {
/// The build's own name for itself.
ZUL_EXPORT extern const char ZULSessionVersionString[];
/// 1.0, as in the text: the version above is another matter.
ZUL_EXPORT extern const double ZULSessionVersionNumber;
}

}  // namespace zul
