#pragma once

#include <string_view>

#include "zul/ZULSessionVersion.h"

namespace zul {

inline constexpr std::string_view kSdkVersion = ZUL_VERSION_STRING;

}  // namespace zul
