#pragma once

#include <atomic>
#include <chrono>
#include <functional>
#include <map>
#include <memory>
#include <optional>
#include <string>

#include "Mutex.h"

struct sd_bus;
struct sd_bus_message;

namespace zul::platform {

struct FreeBusMessage {
  void operator()(sd_bus_message* message) const;
};
using BusMessage = std::unique_ptr<sd_bus_message, FreeBusMessage>;

/// The texts and object paths among the properties of an object, by name.
using BusProperties = std::map<std::string, std::string, std::less<>>;

/// Reads the properties, an a{sv}, at which the message stands. What is of another kind, or absurdly long, is left out.
/// False when there are none there.
bool readProperties(sd_bus_message* message, BusProperties& properties);

/// Questions to services on the system bus, over a connection of their own, that together end at a deadline. A service
/// that does not run is not started for them. One thread.
class BusConversation {
 public:
  using Clock = std::chrono::steady_clock;

  explicit BusConversation(Clock::time_point deadline) : deadline_(deadline) {}
  ~BusConversation();
  BusConversation(const BusConversation&) = delete;
  BusConversation& operator=(const BusConversation&) = delete;

  /// The answer to a method without arguments, or with one text; null without one.
  BusMessage call(const char* service, const char* path, const char* interface, const char* method,
                  const char* argument = nullptr);

  bool isLate() const { return Clock::now() >= deadline_; }

 private:
  bool connect();
  std::uint64_t microsecondsLeft() const;

  const Clock::time_point deadline_;
  sd_bus* bus_ = nullptr;
};

/// The system bus, for questions to which there is a fallback: their askers are host threads. Any thread may ask.
class SystemBus {
 public:
  using Clock = BusConversation::Clock;

  /// A conversation may take `patience`. After one that took so long nobody is asked for the time `rest`.
  explicit SystemBus(Clock::duration patience = std::chrono::milliseconds(200),
                     Clock::duration rest = std::chrono::minutes(10))
      : patience_(patience), rest_(rest) {}

  template <typename Value>
  std::optional<Value> ask(std::optional<Value> (*question)(BusConversation&)) {
    if (Clock::now() < quietUntil_.load()) return std::nullopt;
    BusConversation conversation(Clock::now() + patience_);
    auto answer = question(conversation);
    if (conversation.isLate()) quietUntil_ = Clock::now() + rest_;
    return answer;
  }

 private:
  const Clock::duration patience_;
  const Clock::duration rest_;
  std::atomic<Clock::time_point> quietUntil_{Clock::time_point::min()};
};

/// The latest answer to one question, which is asked anew when it is older than `age`. Nobody waits for somebody else's
/// question: threads that come meanwhile ask, too.
template <typename Value>
class Remembered {
 public:
  explicit Remembered(SystemBus::Clock::duration age) : age_(age) {}

  std::optional<Value> get(SystemBus& bus, std::optional<Value> (*question)(BusConversation&)) {
    {
      const MutexLock lock(mutex_);
      if (SystemBus::Clock::now() < until_) return answer_;
    }
    auto answer = bus.ask(question);
    const MutexLock lock(mutex_);
    answer_ = answer;
    until_ = SystemBus::Clock::now() + age_;
    return answer;
  }

 private:
  const SystemBus::Clock::duration age_;
  Mutex mutex_;
  std::optional<Value> answer_ ZUL_GUARDED_BY(mutex_);
  SystemBus::Clock::time_point until_ ZUL_GUARDED_BY(mutex_) = SystemBus::Clock::time_point::min();
};

}  // namespace zul::platform
