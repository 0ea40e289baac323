#pragma once

#include <string_view>

#include "zul/CallSite.h"
#include "zul/Export.h"

namespace zul {

/// A debug switch for the process and a printer for host code, apart from the library's own log lines, which
/// are always written. Any thread may call it.
class ZUL_EXPORT ZULDebugger {
 public:
  /// Sets the switch; 0 is off. The configuration's "isDebug" sets it to 1 at start-up.
  static void debugMode(int mode) noexcept;
  static int isDebug() noexcept;

  /// Prints `message` as adminLog does when the switch is on.
  static void log(std::string_view message) noexcept;

  /// Prints `message` with the module, class and method of the caller, whatever the switch says.
  static void adminLog(std::string_view message, CallSite caller = CallSite::current()) noexcept;
};

}  // namespace zul
