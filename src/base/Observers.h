#pragma once

#include <functional>
#include <memory>
#include <utility>
#include <vector>

#include "Mutex.h"

namespace zul {

/// Observers of something, each for as long as what add() gave is held. Any thread may call it; they are called without
/// the lock.
template <typename... Arguments>
class Observers {
 public:
  using Observer = std::function<void(Arguments...)>;

  std::shared_ptr<void> add(Observer observer) {
    auto shared = std::make_shared<Observer>(std::move(observer));
    const MutexLock lock(mutex_);
    std::erase_if(all_, [](const auto& known) { return known.expired(); });
    all_.push_back(shared);
    return shared;
  }

  void call(const Arguments&... arguments) {
    std::vector<std::weak_ptr<Observer>> all;
    {
      const MutexLock lock(mutex_);
      all = all_;
    }
    for (const auto& known : all) {
      if (const auto observer = known.lock()) (*observer)(arguments...);
    }
  }

 private:
  Mutex mutex_;
  std::vector<std::weak_ptr<Observer>> all_ ZUL_GUARDED_BY(mutex_);
};

}  // namespace zul
