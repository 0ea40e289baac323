#include <utility>
#include <vector>

#include "Mutex.h"
#include "zul/platform/LifeCycle.h"

namespace zul::platform {

struct HostLifeCycle::Observers {
  Mutex mutex;
  std::vector<std::weak_ptr<Observer>> all ZUL_GUARDED_BY(mutex);
};

LifeCycle::~LifeCycle() = default;

HostLifeCycle::HostLifeCycle() : observers_(std::make_unique<Observers>()) {}
HostLifeCycle::~HostLifeCycle() = default;

std::shared_ptr<void> HostLifeCycle::observe(Observer observer) {
  auto shared = std::make_shared<Observer>(std::move(observer));
  const MutexLock lock(observers_->mutex);
  std::erase_if(observers_->all, [](const auto& known) { return known.expired(); });
  observers_->all.push_back(shared);
  return shared;
}

void HostLifeCycle::notify(Event event) {
  std::vector<std::weak_ptr<Observer>> all;
  {
    const MutexLock lock(observers_->mutex);
    all = observers_->all;
  }
  for (const auto& known : all) {
    if (const auto observer = known.lock()) (*observer)(event);
  }
}

}  // namespace zul::platform
