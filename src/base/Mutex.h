#pragma once

#include <chrono>
#include <condition_variable>
#include <mutex>

#include "ThreadSafety.h"

namespace zul {

/// std::mutex under a name that clang's thread-safety analysis knows: what it guards is marked ZUL_GUARDED_BY, and
/// a build with clang fails where that is touched without it.
class ZUL_CAPABILITY("mutex") Mutex {
 public:
  void lock() ZUL_ACQUIRE() { mutex_.lock(); }
  void unlock() ZUL_RELEASE() { mutex_.unlock(); }
  [[nodiscard]] bool tryLock() ZUL_TRY_ACQUIRE(true) { return mutex_.try_lock(); }

 private:
  friend class Condition;
  std::mutex mutex_;
};

/// Holds a Mutex for a scope.
class ZUL_SCOPED_CAPABILITY MutexLock {
 public:
  explicit MutexLock(Mutex& mutex) ZUL_ACQUIRE(mutex) : mutex_(mutex) { mutex_.lock(); }
  /// Takes over a Mutex that is held already, after a tryLock().
  MutexLock(Mutex& mutex, std::adopt_lock_t) ZUL_REQUIRES(mutex) : mutex_(mutex) {}
  ~MutexLock() ZUL_RELEASE() { mutex_.unlock(); }
  MutexLock(const MutexLock&) = delete;
  MutexLock& operator=(const MutexLock&) = delete;

 private:
  Mutex& mutex_;
};

/// What threads wait for that hold a Mutex; it is free while they wait. A wait may end for no reason, so that it stands
/// in a loop which looks again.
class Condition {
 public:
  void notifyAll() noexcept { condition_.notify_all(); }
  void notifyOne() noexcept { condition_.notify_one(); }

  void wait(Mutex& mutex) ZUL_REQUIRES(mutex) {
    std::unique_lock lock(mutex.mutex_, std::adopt_lock);
    condition_.wait(lock);
    lock.release();
  }
  /// False when `deadline` has passed.
  bool waitUntil(Mutex& mutex, std::chrono::steady_clock::time_point deadline) ZUL_REQUIRES(mutex) {
    std::unique_lock lock(mutex.mutex_, std::adopt_lock);
    const auto status = condition_.wait_until(lock, deadline);
    lock.release();
    return status == std::cv_status::no_timeout;
  }

 private:
  std::condition_variable condition_;
};

}  // namespace zul
