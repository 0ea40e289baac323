#pragma once

#include <atomic>
#include <memory>

namespace zul {

namespace platform {
class Clock;
class LifeCycle;
}  // namespace platform

/// The network's time: the device clock corrected by the offset that the time servers agree on. Any thread
/// may call it. When the host tells of a significant time change, it starts over.
class NHNetworkClock {
 public:
  NHNetworkClock(std::shared_ptr<platform::Clock> clock, platform::LifeCycle& lifeCycle);

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
  std::shared_ptr<void> timeChanges_;  // observed as long as this lives; last, so that it ends first
};

}  // namespace zul
