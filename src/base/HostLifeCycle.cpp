#include <utility>

#include "Observers.h"
#include "zul/platform/LifeCycle.h"

namespace zul::platform {

struct HostLifeCycle::Observers : zul::Observers<Event> {};

LifeCycle::~LifeCycle() = default;

HostLifeCycle::HostLifeCycle() : observers_(std::make_unique<Observers>()) {}
HostLifeCycle::~HostLifeCycle() = default;

std::shared_ptr<void> HostLifeCycle::observe(Observer observer) {
  return observers_->add(std::move(observer));
}

void HostLifeCycle::notify(Event event) {
  observers_->call(event);
}

}  // namespace zul::platform
