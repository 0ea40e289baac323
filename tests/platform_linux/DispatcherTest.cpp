#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <filesystem>
#include <fstream>
#include <functional>
#include <future>
#include <stdexcept>
#include <thread>
#include <vector>

#include "LinuxDispatcher.h"

namespace zul::platform {
namespace {

using namespace std::chrono_literals;
using Queue = Dispatcher::Queue;

constexpr auto kLong = 30s;

bool arrives(std::future<void>&& event) {
  return event.wait_for(kLong) == std::future_status::ready;
}

/// Waits until a task posted to `queue` after all others has run.
bool drains(Dispatcher& dispatcher, Queue queue) {
  const auto done = std::make_shared<std::promise<void>>();
  dispatcher.async(queue, [done] { done->set_value(); });
  return arrives(done->get_future());
}

bool becomesTrue(const std::function<bool()>& condition) {
  for (const auto end = std::chrono::steady_clock::now() + kLong; std::chrono::steady_clock::now() < end;) {
    if (condition()) return true;
    std::this_thread::sleep_for(1ms);
  }
  return false;
}

int threadsNamed(const std::string& wanted) {
  int count = 0;
  std::error_code error;
  for (const auto& thread : std::filesystem::directory_iterator("/proc/self/task", error)) {
    std::string name;
    std::getline(std::ifstream(thread.path() / "comm"), name);
    count += name == wanted ? 1 : 0;
  }
  return count;
}

TEST(LinuxDispatcher, KeepsOrderOnMainAndSerialQueues) {
  constexpr int kPosters = 3;
  constexpr int kTasks = 300;
  LinuxDispatcher dispatcher;
  const auto queue = dispatcher.serialQueue();
  // Plain vectors: tasks of one queue that ran side by side would be a data race.
  std::vector<int> onMain(kPosters, 0);
  std::vector<int> onSerial(kPosters, 0);
  int outOfOrder = 0;
  std::vector<std::thread> posters;
  for (int poster = 0; poster < kPosters; ++poster) {
    posters.emplace_back([&, poster] {
      for (int i = 0; i < kTasks; ++i) {
        dispatcher.async(Queue::main, [&, poster, i] { outOfOrder += onMain[poster]++ == i ? 0 : 1; });
        queue->async([&, poster, i] {
          if (onSerial[poster]++ != i) onSerial[poster] = -kTasks;
          if (i % 7 == 0) throw std::runtime_error("a task's own affair");
        });
      }
    });
  }
  for (auto& poster : posters) poster.join();
  std::promise<void> serialDone;
  queue->async([&] { serialDone.set_value(); });
  ASSERT_TRUE(arrives(serialDone.get_future()));
  ASSERT_TRUE(drains(dispatcher, Queue::main));
  EXPECT_EQ(outOfOrder, 0);
  EXPECT_EQ(onMain, std::vector<int>(kPosters, kTasks));
  EXPECT_EQ(onSerial, std::vector<int>(kPosters, kTasks));
}

TEST(LinuxDispatcher, StartsThreadsOnlyWhenTheyAreNeeded) {
  LinuxDispatcher dispatcher;
  ASSERT_TRUE(becomesTrue([] { return threadsNamed("zul-work") + threadsNamed("zul-main") == 0; }));

  for (int i = 0; i < 2000; ++i) dispatcher.async(Queue::global, [] {});
  ASSERT_TRUE(drains(dispatcher, Queue::global));
  EXPECT_LE(threadsNamed("zul-work"), 3);  // one, but for a machine that stalls

  // Seven blocked tasks do not hold up the others, and their workers go when the need is over.
  std::promise<void> release;
  const auto released = release.get_future().share();
  std::atomic<int> blocked = 0;
  for (int i = 0; i < 7; ++i) {
    dispatcher.async(Queue::global, [&blocked, released] {
      ++blocked;
      released.wait();
    });
  }
  EXPECT_TRUE(drains(dispatcher, Queue::global));
  EXPECT_EQ(blocked, 7);
  release.set_value();
  EXPECT_TRUE(becomesTrue([] { return threadsNamed("zul-work") == 1; }));
}

TEST(LinuxDispatcher, RunsTimersInTheOrderTheyFallDue) {
  LinuxDispatcher dispatcher;
  std::vector<int> order;
  std::promise<void> done;
  dispatcher.after(0.06, Queue::main, [&] {
    order.push_back(3);
    done.set_value();
  });
  dispatcher.after(0.03, Queue::main, [&] { order.push_back(2); });
  dispatcher.after(-1, Queue::main, [&] { order.push_back(1); });
  dispatcher.after(1e300, Queue::global, [] { FAIL(); });
  ASSERT_TRUE(arrives(done.get_future()));
  EXPECT_EQ(order, (std::vector{1, 2, 3}));

  std::promise<void> onWorker;
  dispatcher.after(0.001, Queue::global, [&] { onWorker.set_value(); });
  EXPECT_TRUE(arrives(onWorker.get_future()));
}

TEST(LinuxDispatcher, RepeatsUntilTheHandleGoes) {
  auto dispatcher = std::make_unique<LinuxDispatcher>();
  std::atomic<int> ticks = 0;
  std::unique_ptr<Timer> timer;
  std::promise<void> endedItself;
  dispatcher->async(Queue::main, [&] {
    timer = dispatcher->repeat(0.001, [&] {
      if (++ticks < 3) return;
      timer.reset();
      endedItself.set_value();
    });
  });
  ASSERT_TRUE(arrives(endedItself.get_future()));
  ASSERT_TRUE(drains(*dispatcher, Queue::main));
  EXPECT_EQ(ticks, 3);

  std::atomic<int> others = 0;
  const auto survivor = dispatcher->repeat(0.001, [&] { ++others; });
  EXPECT_TRUE(becomesTrue([&] { return others > 2; }));
  dispatcher.reset();
  EXPECT_EQ(ticks, 3);
}

TEST(LinuxDispatcher, LeavesMissedTicksOut) {
  LinuxDispatcher dispatcher;
  std::promise<void> release;
  dispatcher.async(Queue::main, [&] { release.get_future().wait(); });
  std::atomic<int> ticks = 0;
  const auto timer = dispatcher.repeat(0.02, [&] { ++ticks; });
  std::promise<void> later;
  dispatcher.after(0.2, Queue::global, [&] { later.set_value(); });
  EXPECT_NE(later.get_future().wait_for(300ms), std::future_status::ready);  // the timers share the main thread
  release.set_value();
  ASSERT_TRUE(becomesTrue([&] { return ticks > 0; }));
  ASSERT_TRUE(drains(dispatcher, Queue::main));
  EXPECT_LT(ticks, 10);
}

TEST(LinuxDispatcher, StopsWhileOthersPost) {
  LinuxDispatcher dispatcher;
  const auto queue = dispatcher.serialQueue();
  std::atomic<bool> enough = false;
  std::atomic<int> started = 0;
  std::vector<std::thread> others;
  for (int i = 0; i < 3; ++i) {
    others.emplace_back([&] {
      while (!enough) {
        dispatcher.async(Queue::main, [&] { ++started; });
        dispatcher.async(Queue::global, [&] { ++started; });
        queue->async([&] { ++started; });
        dispatcher.after(0, Queue::global, [&] { ++started; });
        dispatcher.repeat(0.001, [] {});
      }
    });
  }
  others.emplace_back([&] { dispatcher.sleep(3600); });
  ASSERT_TRUE(becomesTrue([&] { return started > 100; }));
  dispatcher.stop();
  const int atStop = started;
  dispatcher.stop();
  std::this_thread::sleep_for(20ms);  // a task that still started would most likely do so now
  enough = true;
  for (auto& other : others) other.join();
  EXPECT_EQ(started, atStop);
}

TEST(LinuxDispatcher, StopsFromItsOwnTaskWithoutWaitingForItself) {
  LinuxDispatcher dispatcher;
  std::promise<void> stopped;
  bool later = false;
  dispatcher.async(Queue::main, [&] {
    dispatcher.async(Queue::main, [&] { later = true; });
    dispatcher.stop();
    stopped.set_value();
  });
  ASSERT_TRUE(arrives(stopped.get_future()));
  EXPECT_FALSE(later);
}

TEST(LinuxDispatcher, HandsMainTasksToTheHostsLoop) {
  std::mutex mutex;
  std::vector<Task> loop;
  const auto size = [&] {
    const std::lock_guard lock(mutex);
    return loop.size();
  };
  auto dispatcher = std::make_unique<LinuxDispatcher>([&](Task task) {
    const std::lock_guard lock(mutex);
    loop.push_back(std::move(task));
  });
  std::vector<std::thread::id> ran;
  const auto note = [&] { ran.push_back(std::this_thread::get_id()); };
  dispatcher->async(Queue::main, note);
  dispatcher->after(0.001, Queue::main, note);
  ASSERT_TRUE(becomesTrue([&] { return size() == 2; }));
  for (const auto& task : loop) task();
  EXPECT_EQ(ran, std::vector(2, std::this_thread::get_id()));

  // What the loop still holds when the library has stopped does nothing any more.
  dispatcher->async(Queue::main, note);
  dispatcher.reset();
  loop.back()();
  EXPECT_EQ(ran.size(), 2u);
}

TEST(LinuxDispatcher, DestroysWhatItNeverStarted) {
  const auto held = std::make_shared<int>();
  {
    auto dispatcher = std::make_shared<LinuxDispatcher>();
    const std::shared_ptr<SerialQueue> queue = dispatcher->serialQueue();
    std::promise<void> entered;
    std::promise<void> release;
    queue->async([&] {
      entered.set_value();
      release.get_future().wait();
    });
    ASSERT_TRUE(arrives(entered.get_future()));
    queue->async([held, queue] {});
    dispatcher->after(3600, Queue::main, [held, queue] {});
    const auto timer = dispatcher->repeat(3600, [held] {});
    dispatcher->stop();
    dispatcher->async(Queue::global, [held] {});
    release.set_value();
  }
  EXPECT_EQ(held.use_count(), 1);
}

}  // namespace
}  // namespace zul::platform
