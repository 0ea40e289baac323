#pragma once

#include <cstdint>
#include <map>
#include <set>
#include <utility>

#include "zul/platform/Dispatcher.h"

namespace zul::platform {

/// Queues, timers and sleep in virtual time, on one thread: nothing runs until `advance` or `run` is
/// called, and then in the order in which it falls due. A task that sleeps lets the other queues run, as
/// threads would; its own serial or main queue waits for it.
class SimulatedDispatcher final : public Dispatcher {
 public:
  void async(Queue queue, Task task) override;
  void after(double seconds, Queue queue, Task task) override;
  std::unique_ptr<Timer> repeat(double seconds, Task task) override;
  std::shared_ptr<SerialQueue> serialQueue() override;
  void sleep(double seconds) override;

  /// Drops all that waits, as the end of a process does; the next library on this device starts afresh.
  void stop() noexcept override;

  /// Virtual seconds since the dispatcher was made.
  double now() const { return now_; }

  /// Lets `seconds` pass and runs everything that falls due.
  void advance(double seconds);

  /// Runs what is due at this moment.
  void run() { advance(0); }

  /// How many tasks wait for their time.
  std::size_t waiting() const { return events_.size(); }

 private:
  friend class SimulatedSerialQueue;
  friend class SimulatedTimer;

  // Queues by number: the main queue, the global one, then each serial queue. The global queue runs any
  // number of tasks at once and so is never busy.
  static constexpr int kMain = 0;
  static constexpr int kGlobal = 1;

  struct Event {
    int queue;
    Task task;
  };
  using Key = std::pair<double, std::uint64_t>;  // due time, then order of posting

  Key post(double due, int queue, Task task);
  bool runNext(double until);

  double now_ = 0;
  std::uint64_t posted_ = 0;
  int queues_ = 2;
  std::map<Key, Event> events_;
  std::set<int> busy_;
};

}  // namespace zul::platform
