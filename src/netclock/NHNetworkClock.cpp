#include "NHNetworkClock.h"

#include "zul/platform/Clock.h"

namespace zul {

double NHNetworkClock::networkTime() const {
  return clock_->now() - offset_;
}

}  // namespace zul
