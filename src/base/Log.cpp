#include "Log.h"

#include <exception>
#include <string>

#include "zul/platform/Clock.h"
#include "zul/platform/LogSink.h"

namespace zul {

namespace {

void appendNumber(std::string& out, int value, std::size_t width) {
  const auto digits = std::to_string(value);
  if (digits.size() < width) out.append(width - digits.size(), '0');
  out += digits;
}

}  // namespace

Log::Log(std::shared_ptr<platform::Clock> clock, std::shared_ptr<platform::LogSink> sink)
    : clock_(std::move(clock)), sink_(std::move(sink)) {}

void Log::debug(std::string_view message, const CallSite& where) const noexcept {
  line("QuorLog / D", message, where);
}
void Log::info(std::string_view message, const CallSite& where) const noexcept {
  line("QuorLog / I", message, where);
}
void Log::error(std::string_view message, const CallSite& where) const noexcept {
  line("QuorLog / E", message, where);
}

void Log::line(std::string_view tag, std::string_view message, const CallSite& where) const noexcept {
  try {
    const auto time = clock_->civil(clock_->now());
    const auto method = where.method();
    std::string line;
    line.reserve(64 + method.size() + message.size());
    appendNumber(line, time.year, 4);
    (line += '-'), appendNumber(line, time.month, 2);
    (line += '-'), appendNumber(line, time.day, 2);
    (line += ' '), appendNumber(line, time.hour, 2);
    (line += ':'), appendNumber(line, time.minute, 2);
    (line += ':'), appendNumber(line, time.second, 2);
    ((line += " | ") += tag) += " | ";
    (line += method) += "( ";
    appendNumber(line, static_cast<int>(where.line), 1);
    (line += " ) | ") += message;
    line += '\n';
    sink_->write(line);
  } catch (...) {  // out of memory: a log line is the first thing to do without
  }
}

void Log::caught(const CallSite& where) const noexcept {
  try {
    throw;
  } catch (const std::exception& e) {
    try {
      error(std::string("Exception: ") + e.what(), where);
    } catch (...) {
    }
  } catch (...) {
    error("Exception: unknown", where);
  }
}

}  // namespace zul
