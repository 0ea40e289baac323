#pragma once

namespace zul {

/// Which of the library's log lines are written: those of the level and of all that follow it here.
enum class LogLevel { debug, info, error, none };

}  // namespace zul
