#pragma once

#include <cstddef>
#include <cstdint>
#include <deque>
#include <string>
#include <unordered_map>
#include <vector>

#include "Mutex.h"
#include "SessionCheck.h"

namespace zul::collector {

/// A map that forgets its oldest entries rather than growing.
template <typename Key, typename Value>
class RecentMap {
 public:
  const Value* find(const Key& key) const {
    const auto found = values_.find(key);
    return found == values_.end() ? nullptr : &found->second;
  }
  void set(const Key& key, const Value& value) {
    if (!values_.insert_or_assign(key, value).second) return;
    order_.push_back(key);
    if (order_.size() <= kMost) return;
    values_.erase(order_.front());
    order_.pop_front();
  }

 private:
  static constexpr std::size_t kMost = 100'000;
  std::unordered_map<Key, Value> values_;
  std::deque<Key> order_;
};

/// The reason for which a payload is suspicious that was accepted before.
std::string equalTo(std::uint64_t request);

/// Compares payloads with those that were accepted before. Any thread.
class SessionHistory {
 public:
  /// What is suspicious about the payloads of request `sequence` beside earlier ones. They are remembered where they
  /// are `accepted`: one that is refused comes again, and rightly. Fills `equalTo`.
  void compare(std::uint64_t sequence, std::vector<PayloadFacts>& payloads, bool accepted, Suspicions& suspicions);
  void reset();

 private:
  void compareOne(std::size_t number, PayloadFacts& payload, Suspicions& suspicions) ZUL_REQUIRES(mutex_);

  Mutex mutex_;
  RecentMap<std::size_t, std::uint64_t> requestOf_ ZUL_GUARDED_BY(mutex_);     // by the payload's hash
  RecentMap<std::string, std::string> uuidOf_ ZUL_GUARDED_BY(mutex_);          // by vendorId
  RecentMap<std::string, std::int64_t> latestVisitOf_ ZUL_GUARDED_BY(mutex_);  // vtTz by uuid
};

}  // namespace zul::collector
