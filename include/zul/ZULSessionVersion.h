#pragma once

#include "zul/Export.h"

namespace zul {

extern "C" {
/// The build's own name for itself.
ZUL_EXPORT extern const char ZULSessionVersionString[];
/// 1.0. (The version that travels to the collector is another, "1.1.5".)
ZUL_EXPORT extern const double ZULSessionVersionNumber;
}

}  // namespace zul
