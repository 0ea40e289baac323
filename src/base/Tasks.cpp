#include "Tasks.h"

#include <utility>

namespace zul {

namespace {

using Queue = Tasks::Queue;

thread_local bool onMain = false;

platform::Task guarded(const Log& log, platform::Task task, const CallSite& where) {
  return [log, task = std::move(task), where] { log.guard(task, where); };
}

platform::Task guarded(const Log& log, Queue queue, platform::Task task, const CallSite& where) {
  if (queue != Queue::main) return guarded(log, std::move(task), where);
  return [log, task = std::move(task), where] {
    const bool before = std::exchange(onMain, true);  // a host's loop may be run within one of its tasks
    log.guard(task, where);
    onMain = before;
  };
}

}  // namespace

SerialTasks::SerialTasks(std::shared_ptr<platform::SerialQueue> queue, Log log)
    : queue_(std::move(queue)), log_(std::move(log)) {}

void SerialTasks::async(platform::Task task, const CallSite& where) const {
  queue_->async(guarded(log_, std::move(task), where));
}

Tasks::Tasks(std::shared_ptr<platform::Dispatcher> dispatcher, Log log)
    : dispatcher_(std::move(dispatcher)), log_(std::move(log)) {}

void Tasks::async(Queue queue, platform::Task task, const CallSite& where) const {
  dispatcher_->async(queue, guarded(log_, queue, std::move(task), where));
}

void Tasks::after(double seconds, Queue queue, platform::Task task, const CallSite& where) const {
  dispatcher_->after(seconds, queue, guarded(log_, queue, std::move(task), where));
}

std::unique_ptr<platform::Timer> Tasks::repeat(double seconds, platform::Task task, const CallSite& where) const {
  return dispatcher_->repeat(seconds, guarded(log_, Queue::main, std::move(task), where));
}

SerialTasks Tasks::serial() const {
  return {dispatcher_->serialQueue(), log_};
}

void Tasks::sleep(double seconds) const {
  dispatcher_->sleep(seconds);
}

bool Tasks::isOnMain() noexcept {
  return onMain;
}

}  // namespace zul
