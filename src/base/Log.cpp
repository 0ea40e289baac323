#include "Log.h"

#include <fmt/format.h>

#include <exception>
#include <string>

#include "zul/platform/Clock.h"
#include "zul/platform/LogSink.h"

namespace zul {

Log::Log(std::shared_ptr<platform::Clock> clock, std::shared_ptr<platform::LogSink> sink, LogLevel level)
    : clock_(std::move(clock)), sink_(std::move(sink)), level_(level) {}

void Log::debug(std::string_view message, const CallSite& where) const noexcept {
  line(LogLevel::debug, "QuorLog / D", message, where);
}
void Log::info(std::string_view message, const CallSite& where) const noexcept {
  line(LogLevel::info, "QuorLog / I", message, where);
}
void Log::error(std::string_view message, const CallSite& where) const noexcept {
  line(LogLevel::error, "QuorLog / E", message, where);
}

void Log::system(std::string_view message) const noexcept {
  try {
    sink_->write(std::string(message) + '\n');
  } catch (...) {  // as below
  }
}

bool Log::wants(LogLevel level) const noexcept {
  return level >= level_ && sink_->wants(level);
}

void Log::line(LogLevel level, std::string_view tag, std::string_view message, const CallSite& where) const noexcept {
  if (!wants(level)) return;
  try {
    const auto time = clock_->civil(clock_->now());
    sink_->write(fmt::format("{:04}-{:02}-{:02} {:02}:{:02}:{:02} | {} | {}( {} ) | {}\n", time.year, time.month,
                             time.day, time.hour, time.minute, time.second, tag, where.method, where.line, message));
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
