#include "NetworkClock.h"

#include "NHNetworkClock.h"

namespace zul {

double NetworkClock::networkDate() const {
  return clock_.networkTime();
}

double NetworkClock::timeIntervalSinceNetworkDate(double date) const {
  return date - networkDate();
}

// The device's date is the network's moved by the offset.
double NetworkClock::timeIntervalSinceNetworkDate() const {
  return clock_.networkOffset();
}

}  // namespace zul
