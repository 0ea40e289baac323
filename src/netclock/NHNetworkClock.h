#pragma once

#include <atomic>
#include <memory>

namespace zul {

namespace platform {
class Clock;
}

/// The network's time: the device clock corrected by the offset that the time servers agree on. Any thread
/// may call it.
class NHNetworkClock {
 public:
  explicit NHNetworkClock(std::shared_ptr<platform::Clock> clock) : clock_(std::move(clock)) {}

  /// Starts over: not synchronized until the time servers have answered.
  void synchronize() { synchronized_ = false; }

  /// Takes the offset, in seconds, of the device clock from the servers' (device minus server).
  void setOffset(double seconds) {
    offset_ = seconds;
    synchronized_ = true;
  }

  bool isSynchronized() const { return synchronized_; }

  /// Seconds since 1970; the device's own time until synchronized.
  double networkTime() const;

 private:
  std::shared_ptr<platform::Clock> clock_;
  std::atomic<double> offset_{0};
  std::atomic<bool> synchronized_{false};
};

}  // namespace zul
