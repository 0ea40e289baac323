#pragma once

#include <cstdint>
#include <functional>
#include <map>
#include <memory>
#include <optional>
#include <utility>
#include <vector>

#include "zul/platform/Dispatcher.h"

namespace zul::platform {

/// Queues, timers and sleep in virtual time: nothing runs until `advance` or `run` is called, and then in the
/// order in which it falls due, one thing at a time. A task that sleeps lets the other queues run, and sleeps on
/// when `advance` returns before its time; its own serial or main queue waits for it.
///
/// For one thread. Tasks have a thread of their own while the caller of `advance` waits for them to end or to sleep;
/// what repeats runs on the caller's, to be cheap, and must not sleep.
class SimulatedDispatcher final : public Dispatcher {
 public:
  SimulatedDispatcher();
  ~SimulatedDispatcher() override;

  /// What waits for its time.
  struct Waiting {
    double due = 0;  ///< virtual seconds; in the past when its queue is held up by a task that sleeps
    const char* queue = "";
    double every = 0;       ///< seconds; 0 unless it is a repeating timer
    bool sleeping = false;  ///< a task that has begun
  };

  /// Lets time pass that is not virtual alone: asked before the clock moves from one moment to a later one, it
  /// gives the moment reached, which is earlier when it has posted something meanwhile.
  using Pace = std::function<double(double from, double to)>;

  void async(Queue queue, Task task) override;
  void after(double seconds, Queue queue, Task task) override;
  std::unique_ptr<Timer> repeat(double seconds, Task task) override;
  std::shared_ptr<SerialQueue> serialQueue() override;
  /// In a task. Outside of any, time is advanced.
  void sleep(double seconds) override;

  /// Drops all that waits, as the end of a process does; the next library on this device starts afresh. Tasks that
  /// sleep wake up at once, and end without sleeping again.
  void stop() noexcept override;

  /// Virtual seconds since the dispatcher was made.
  double now() const { return now_; }

  /// Lets `seconds` pass and runs everything that falls due.
  void advance(double seconds);

  /// Runs what is due at this moment.
  void run() { advance(0); }

  /// What waits, in the order in which it falls due.
  std::vector<Waiting> waiting() const;
  /// When something falls due next; none when nothing waits.
  std::optional<double> nextDue() const;

  /// Without a pace, the standard, virtual time leaps to what is due next.
  void setPace(Pace pace) { pace_ = std::move(pace); }
  bool paced() const { return pace_ != nullptr; }

  /// True while stop() lets sleeping tasks end.
  bool stopping() const { return stopping_; }

 private:
  friend class SimulatedSerialQueue;
  friend class SimulatedTimer;

  // Queues by number: the main queue, the global one, then each serial queue. The global queue runs any
  // number of tasks at once and so is never busy.
  static constexpr int kMain = 0;
  static constexpr int kGlobal = 1;

  using Key = std::pair<double, std::uint64_t>;  // due time, then order of posting

  // A repeating timer, which shares this with its event.
  struct Repeat {
    double every;
    Key next;
    bool cancelled = false;
  };

  class Worker;  // a thread that runs a task while the others wait

  struct Event {
    int queue;
    Task task;
    std::shared_ptr<Repeat> repeat{};
    Worker* sleeper = nullptr;  // whose sleep ends
  };
  using Events = std::map<Key, Event>;

  Key post(double due, Event event);
  Events::iterator nextRunnable();
  void run(Events::iterator next);
  void runRepeating(Events::node_type node);
  Worker& idleWorker();
  std::optional<Event> takeDueTask();
  void setBusy(int queue, bool busy);

  double now_ = 0;
  std::uint64_t posted_ = 0;
  std::vector<bool> busy_ = std::vector<bool>(2);  // by queue
  Events events_;
  std::vector<std::unique_ptr<Worker>> workers_;
  bool stopping_ = false;
  Pace pace_;
};

}  // namespace zul::platform
