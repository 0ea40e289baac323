#pragma once

#include <httplib.h>

#include <cstddef>
#include <deque>
#include <functional>
#include <thread>
#include <vector>

#include "Mutex.h"

namespace zul::collector {

/// Threads that come when they are needed: a kept-alive connection and a delayed answer each hold one, so
/// that a fixed few would soon all be waiting.
class WorkerPool final : public httplib::TaskQueue {
 public:
  void enqueue(std::function<void()> job) override;
  void shutdown() override;

 private:
  void run();

  Mutex mutex_;
  Condition wake_;
  std::deque<std::function<void()>> jobs_ ZUL_GUARDED_BY(mutex_);
  std::size_t idle_ ZUL_GUARDED_BY(mutex_) = 0;
  bool stopping_ ZUL_GUARDED_BY(mutex_) = false;
  std::vector<std::thread> threads_ ZUL_GUARDED_BY(mutex_);
};

}  // namespace zul::collector
