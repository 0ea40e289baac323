#include "zul/ZULDebugger.h"

#include <errno.h>
#include <fmt/format.h>

#include <string>

#include "Runtime.h"
#include "zul/platform/LogSink.h"

namespace zul {

namespace {

// The line's class and method out of "zul::Tracker::initEnd"; without a class the method stands alone.
std::string line(std::string_view message, const CallSite& caller) {
  const auto name = caller.method;
  const auto colons = name.rfind("::");
  const auto method = colons == name.npos ? name : name.substr(colons + 2);
  const auto owner = colons == name.npos ? std::string_view() : name.substr(0, colons);
  return fmt::format("[D \xF0\x9F\x91\x89 :{}<{}>:{}]{}\n", program_invocation_short_name, owner, method, message);
}

}  // namespace

void ZULDebugger::debugMode(int mode) noexcept {
  try {
    Runtime::process().debugMode() = mode;
  } catch (...) {  // no memory for a Runtime: there is nothing whose output could be switched
  }
}

int ZULDebugger::isDebug() noexcept {
  auto* const runtime = Runtime::processIfMade();
  return runtime ? runtime->debugMode().load() : 0;
}

void ZULDebugger::log(std::string_view message) noexcept {
  if (isDebug() != 0) adminLog(message);
}

void ZULDebugger::adminLog(std::string_view message, CallSite caller) noexcept {
  try {
    Runtime::process().platform().log->write(line(message, caller));
  } catch (...) {  // no memory for a line: nothing is printed
  }
}

}  // namespace zul
