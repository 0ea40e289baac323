#pragma once

namespace zul {

class NHNetworkClock;

/// The network's time as a date. Any thread may call it. All moments are seconds since 1970.
class NetworkClock {
 public:
  explicit NetworkClock(NHNetworkClock& clock) : clock_(clock) {}

  double networkDate() const;
  /// The same: reading the clock is safe on any thread.
  double threadsafeNetworkDate() const { return networkDate(); }

  /// Seconds by which `date`, or the device's date, is later than the network's.
  double timeIntervalSinceNetworkDate(double date) const;
  double timeIntervalSinceNetworkDate() const;

 private:
  NHNetworkClock& clock_;
};

}  // namespace zul
