#include "WorkerPool.h"

#include <system_error>
#include <utility>

namespace zul::collector {

namespace {

constexpr std::size_t kMaxThreads = 512;

}  // namespace

void WorkerPool::enqueue(std::function<void()> job) {
  const MutexLock lock(mutex_);
  jobs_.push_back(std::move(job));
  if (jobs_.size() > idle_ && threads_.size() < kMaxThreads) {
    try {
      threads_.emplace_back([this] { run(); });
    } catch (const std::system_error&) {
      // No more threads to be had: the job waits for one of those there are.
    }
  }
  wake_.notifyOne();
}

void WorkerPool::shutdown() {
  std::vector<std::thread> threads;
  {
    const MutexLock lock(mutex_);
    stopping_ = true;
    threads = std::move(threads_);
  }
  wake_.notifyAll();
  for (auto& thread : threads) thread.join();
}

void WorkerPool::run() {
  for (;;) {
    std::function<void()> job;
    {
      const MutexLock lock(mutex_);
      ++idle_;
      while (!stopping_ && jobs_.empty()) wake_.wait(mutex_);
      --idle_;
      if (jobs_.empty()) return;
      job = std::move(jobs_.front());
      jobs_.pop_front();
    }
    job();
  }
}

}  // namespace zul::collector
