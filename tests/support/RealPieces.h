#pragma once

#include <atomic>
#include <chrono>
#include <fstream>
#include <memory>
#include <mutex>
#include <string>
#include <string_view>
#include <thread>

#include "zul/platform/Clock.h"
#include "zul/platform/Dispatcher.h"
#include "zul/platform/LogSink.h"

/// What tests put around the real pieces of the platform.
namespace zul::test {

#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
constexpr bool kSanitized = true;
#elif defined(__has_feature)
constexpr bool kSanitized = __has_feature(address_sanitizer) || __has_feature(thread_sanitizer);
#else
constexpr bool kSanitized = false;
#endif

/// True as soon as `condition` is; false when it is not within `patience`.
template <typename Condition>
bool eventually(Condition condition, std::chrono::seconds patience = std::chrono::seconds(30)) {
  const auto deadline = std::chrono::steady_clock::now() + patience;
  while (!condition()) {
    if (std::chrono::steady_clock::now() > deadline) return false;
    std::this_thread::sleep_for(std::chrono::milliseconds(2));
  }
  return true;
}

/// The real clock, set forward.
class ShiftedClock final : public platform::Clock {
 public:
  explicit ShiftedClock(std::shared_ptr<Clock> real) : real_(std::move(real)) {}
  void add(double seconds) { shift_ = shift_ + seconds; }

  double now() const override { return real_->now() + shift_; }
  platform::CivilTime civil(double seconds) const override { return real_->civil(seconds); }
  double seconds(const platform::CivilTime& civil) const override { return real_->seconds(civil); }
  int secondsFromGmt() const override { return real_->secondsFromGmt(); }

 private:
  std::shared_ptr<Clock> real_;
  std::atomic<double> shift_{0};
};

/// The real dispatcher in a hurry: what is to wait waits for `pace` times as long, so that the start-up's five
/// seconds pass in no time. Timers keep their period.
class HurriedDispatcher final : public platform::Dispatcher {
 public:
  HurriedDispatcher(std::shared_ptr<Dispatcher> real, double pace) : real_(std::move(real)), pace_(pace) {}

  void async(Queue queue, platform::Task task) override { real_->async(queue, std::move(task)); }
  void after(double seconds, Queue queue, platform::Task task) override {
    real_->after(seconds * pace_, queue, std::move(task));
  }
  std::unique_ptr<platform::Timer> repeat(double seconds, platform::Task task) override {
    return real_->repeat(seconds, std::move(task));
  }
  std::shared_ptr<platform::SerialQueue> serialQueue() override { return real_->serialQueue(); }
  void sleep(double seconds) override { real_->sleep(seconds * pace_); }
  void stop() noexcept override { real_->stop(); }

 private:
  std::shared_ptr<Dispatcher> real_;
  double pace_;
};

/// Keeps the log in memory, or hands it on where there is another.
class KeptLog final : public platform::LogSink {
 public:
  void write(std::string_view line) noexcept override {
    const std::lock_guard lock(mutex_);
    text_ += line;
  }
  std::string text() const {
    const std::lock_guard lock(mutex_);
    return text_;
  }
  std::size_t count(std::string_view part) const {
    const std::lock_guard lock(mutex_);
    std::size_t count = 0;
    for (auto at = text_.find(part); at != text_.npos; at = text_.find(part, at + part.size())) ++count;
    return count;
  }
  void clear() {
    const std::lock_guard lock(mutex_);
    text_.clear();
  }

 private:
  mutable std::mutex mutex_;
  std::string text_;
};

/// Writes the Info.plist of a host whose service has `token`; without one the library asks the collector.
inline void writeInfoPlist(const std::string& folder, const std::string& token) {
  std::ofstream(folder + "/Info.plist")
      << R"(<?xml version="1.0" encoding="UTF-8"?><plist version="1.0"><dict>)"
      << "<key>CFBundleIdentifier</key><string>com.example.host</string>"
      << "<key>CFBundleShortVersionString</key><string>2.3</string><key>zulAuthorizationKey</key><dict>"
      << "<key>serviceNumber</key><integer>1001</integer><key>useMode</key><integer>1</integer>"
      << "<key>expireDate</key><integer>30</integer><key>accessToken</key><string>" << token
      << "</string></dict></dict></plist>";
}

}  // namespace zul::test
