#include <gtest/gtest.h>
#include <pthread.h>
#include <sys/resource.h>

#include <atomic>
#include <chrono>
#include <filesystem>
#include <fstream>
#include <future>
#include <stdexcept>
#include <thread>
#include <vector>

#include "AsioDispatcher.h"
#include "Child.h"
#include "Patience.h"

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

TEST(AsioDispatcher, KeepsOrderOnMainAndSerialQueues) {
  constexpr int kPosters = 3;
  constexpr int kTasks = 300;
  AsioDispatcher dispatcher;
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

TEST(AsioDispatcher, StartsThreadsOnlyWhenTheyAreNeeded) {
  AsioDispatcher dispatcher;
  ASSERT_TRUE(test::eventually([] { return threadsNamed("zul-work") + threadsNamed("zul-main") == 0; }));

  for (int i = 0; i < 2000; ++i) dispatcher.async(Queue::global, [] {});
  ASSERT_TRUE(drains(dispatcher, Queue::global));
  EXPECT_LT(threadsNamed("zul-work"), 5);  // one, but for a machine that stalls

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
  EXPECT_TRUE(test::eventually([] { return threadsNamed("zul-work") == 1; }));
}

// The main queue sleeps for seconds when the attribution is waited for; the start-up's completion must not.
TEST(AsioDispatcher, NeitherASleepingMainQueueNorABlockedWorkerHoldsUpAGlobalTimer) {
  AsioDispatcher dispatcher;
  std::promise<void> fired;
  std::promise<void> release;
  const auto released = release.get_future().share();
  dispatcher.async(Queue::main, [&dispatcher] { dispatcher.sleep(60); });
  dispatcher.async(Queue::global, [released] { released.wait(); });
  dispatcher.after(0.05, Queue::global, [&fired] { fired.set_value(); });
  EXPECT_TRUE(arrives(fired.get_future()));
  release.set_value();
}

// Too little room for a stack stands for a system that has no thread left.
TEST(AsioDispatcher, RunsWhatCouldNotGetAThreadAsSoonAsThereIsOne) {
  if (test::kSanitized) GTEST_SKIP() << "a sanitizer has the address space for itself";
  test::Child child([] {
    pthread_attr_t large;
    pthread_attr_init(&large);
    pthread_attr_setstacksize(&large, 512u << 20);
    pthread_setattr_default_np(&large);
    rlimit before{};
    getrlimit(RLIMIT_AS, &before);
    std::size_t pages = 0;
    std::ifstream("/proc/self/statm") >> pages;
    const rlimit tight{pages * 4096 + (64u << 20), before.rlim_max};
    setrlimit(RLIMIT_AS, &tight);

    std::atomic<int> told = 0;
    std::atomic<int> ran = 0;
    AsioDispatcher dispatcher({}, [&](const std::string&) { ++told; });
    const auto queue = dispatcher.serialQueue();
    dispatcher.async(Queue::main, [&] { ++ran; });
    dispatcher.async(Queue::global, [&] { ++ran; });
    queue->async([&] { ++ran; });
    if (ran != 0 || told != 1) return 2;
    setrlimit(RLIMIT_AS, &before);
    queue->async([&] { ++ran; });
    return test::eventually([&] { return ran == 4; }) && told == 1 ? 0 : 1;
  });
  EXPECT_EQ(child.exitStatus(), 0);
}

TEST(AsioDispatcher, RunsTimersInTheOrderTheyFallDue) {
  AsioDispatcher dispatcher;
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

TEST(AsioDispatcher, RepeatsUntilTheHandleGoes) {
  auto dispatcher = std::make_unique<AsioDispatcher>();
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
  EXPECT_TRUE(test::eventually([&] { return others > 2; }));
  dispatcher.reset();
  EXPECT_EQ(ticks, 3);
}

TEST(AsioDispatcher, LeavesMissedTicksOut) {
  AsioDispatcher dispatcher;
  std::promise<void> release;
  std::atomic<int> ticks = 0;
  dispatcher.async(Queue::main, [&] { release.get_future().wait(); });
  const auto timer = dispatcher.repeat(0.02, [&] { ++ticks; });
  dispatcher.sleep(0.2);
  int seen = 0;
  std::promise<void> done;
  // The second task stands behind every tick that was made up for.
  dispatcher.async(Queue::main, [&] {
    dispatcher.async(Queue::main, [&] {
      seen = ticks;
      done.set_value();
    });
  });
  release.set_value();
  ASSERT_TRUE(arrives(done.get_future()));
  EXPECT_LE(seen, 3);
}

TEST(AsioDispatcher, StopsWhileOthersPost) {
  AsioDispatcher dispatcher;
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
  ASSERT_TRUE(test::eventually([&] { return started > 100; }));
  dispatcher.stop();
  const int atStop = started;
  dispatcher.stop();
  std::this_thread::sleep_for(20ms);  // a task that still started would most likely do so now
  enough = true;
  for (auto& other : others) other.join();
  EXPECT_EQ(started, atStop);
}

TEST(AsioDispatcher, StopsFromItsOwnTaskWithoutWaitingForItself) {
  AsioDispatcher dispatcher;
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

TEST(AsioDispatcher, HandsMainTasksToTheHostsLoop) {
  std::mutex mutex;
  std::vector<Task> loop;
  const auto size = [&] {
    const std::lock_guard lock(mutex);
    return loop.size();
  };
  auto dispatcher = std::make_unique<AsioDispatcher>([&](Task task) {
    const std::lock_guard lock(mutex);
    loop.push_back(std::move(task));
  });
  std::vector<std::thread::id> ran;
  const auto note = [&] { ran.push_back(std::this_thread::get_id()); };
  dispatcher->async(Queue::main, note);
  dispatcher->after(0.001, Queue::main, note);
  ASSERT_TRUE(test::eventually([&] { return size() == 2; }));
  for (const auto& task : loop) task();
  EXPECT_EQ(ran, std::vector(2, std::this_thread::get_id()));

  // What the loop still holds when the library has stopped does nothing any more.
  dispatcher->async(Queue::main, note);
  dispatcher.reset();
  loop.back()();
  EXPECT_EQ(ran.size(), 2u);
}

TEST(AsioDispatcher, DestroysWhatItNeverStarted) {
  const auto held = std::make_shared<int>();
  {
    auto dispatcher = std::make_shared<AsioDispatcher>();
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
