#include "NHNetworkClock.h"

#include <utility>

#include "zul/platform/Clock.h"
#include "zul/platform/LifeCycle.h"

namespace zul {

NHNetworkClock::NHNetworkClock(std::shared_ptr<platform::Clock> clock, platform::LifeCycle& lifeCycle)
    : clock_(std::move(clock)), timeChanges_(lifeCycle.observe([this](platform::LifeCycle::Event event) {
        if (event == platform::LifeCycle::Event::significantTimeChange) synchronize();
      })) {}

double NHNetworkClock::networkTime() const {
  return clock_->now() - offset_;
}

}  // namespace zul
