#pragma once

#include <httplib.h>

#include <condition_variable>
#include <cstddef>
#include <deque>
#include <functional>
#include <mutex>
#include <thread>
#include <vector>

namespace zul::collector {

/// Threads that come when they are needed: a kept-alive connection and a delayed answer each hold one, so
/// that a fixed few would soon all be waiting.
class WorkerPool final : public httplib::TaskQueue {
 public:
  void enqueue(std::function<void()> job) override;
  void shutdown() override;

 private:
  void run();

  std::mutex mutex_;
  std::condition_variable wake_;
  std::deque<std::function<void()>> jobs_;
  std::size_t idle_ = 0;
  bool stopping_ = false;
  std::vector<std::thread> threads_;
};

}  // namespace zul::collector
