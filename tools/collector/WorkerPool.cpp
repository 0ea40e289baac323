#include "WorkerPool.h"

#include <system_error>
#include <utility>

namespace zul::collector {

namespace {

constexpr std::size_t kMaxThreads = 512;

}  // namespace

void WorkerPool::enqueue(std::function<void()> job) {
  std::lock_guard lock(mutex_);
  jobs_.push_back(std::move(job));
  if (jobs_.size() > idle_ && threads_.size() < kMaxThreads) {
    try {
      threads_.emplace_back([this] { run(); });
    } catch (const std::system_error&) {
      // No more threads to be had: the job waits for one of those there are.
    }
  }
  wake_.notify_one();
}

void WorkerPool::shutdown() {
  {
    std::lock_guard lock(mutex_);
    stopping_ = true;
  }
  wake_.notify_all();
  for (auto& thread : threads_) thread.join();
}

void WorkerPool::run() {
  std::unique_lock lock(mutex_);
  for (;;) {
    ++idle_;
    wake_.wait(lock, [this] { return stopping_ || !jobs_.empty(); });
    --idle_;
    if (jobs_.empty()) return;
    auto job = std::move(jobs_.front());
    jobs_.pop_front();
    lock.unlock();
    job();
    lock.lock();
  }
}

}  // namespace zul::collector
