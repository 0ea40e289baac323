#pragma once

#include <memory>

#include "Log.h"
#include "zul/platform/Dispatcher.h"

namespace zul {

/// Runs its tasks one after the other, in the order given. Any thread may call it.
class SerialTasks {
 public:
  SerialTasks(std::shared_ptr<platform::SerialQueue> queue, Log log);
  void async(platform::Task task, const CallSite& where) const;

 private:
  std::shared_ptr<platform::SerialQueue> queue_;
  Log log_;
};

/// Where the library's own code runs later: the platform's dispatcher behind the boundary that no exception passes.
/// What a task throws is logged under `where` (ZUL_HERE), the place that handed it over. Any thread may call it.
class Tasks {
 public:
  using Queue = platform::Dispatcher::Queue;

  Tasks(std::shared_ptr<platform::Dispatcher> dispatcher, Log log);

  void async(Queue queue, platform::Task task, const CallSite& where) const;
  /// Runs `task` on `queue`, `seconds` from now.
  void after(double seconds, Queue queue, platform::Task task, const CallSite& where) const;
  /// Runs `task` on the main queue every `seconds`, for as long as the timer lives.
  [[nodiscard]] std::unique_ptr<platform::Timer> repeat(double seconds, platform::Task task,
                                                        const CallSite& where) const;
  [[nodiscard]] SerialTasks serial() const;
  /// Blocks the calling thread for `seconds`; the other queues go on.
  void sleep(double seconds) const;
  /// Whether the caller is a task of the main queue.
  static bool isOnMain() noexcept;

 private:
  std::shared_ptr<platform::Dispatcher> dispatcher_;
  Log log_;
};

}  // namespace zul
