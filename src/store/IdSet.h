#pragma once

#include <cstdint>
#include <vector>

namespace zul {

/// A set of the ids of queued payloads, kept as intervals: a queue of any length takes a few of them.
class IdSet {
 public:
  struct Interval {
    std::int64_t first;
    std::int64_t last;
    bool operator==(const Interval&) const = default;
  };

  IdSet() = default;
  /// From `first` to `last`; empty when `last` is smaller.
  IdSet(std::int64_t first, std::int64_t last);
  /// All ids up to `last`.
  static IdSet upTo(std::int64_t last);

  bool empty() const { return intervals_.empty(); }
  bool contains(std::int64_t id) const;
  /// In order, with gaps between them.
  const std::vector<Interval>& intervals() const { return intervals_; }

  void add(const IdSet& other);
  void remove(const IdSet& other);

 private:
  std::vector<Interval> intervals_;
};

}  // namespace zul
