#include "IdSet.h"

#include <algorithm>
#include <iterator>
#include <limits>

namespace zul {

IdSet::IdSet(std::int64_t first, std::int64_t last) {
  if (first <= last) intervals_.push_back({first, last});
}

IdSet IdSet::upTo(std::int64_t last) {
  return {std::numeric_limits<std::int64_t>::min(), last};
}

bool IdSet::contains(std::int64_t id) const {
  const auto at = std::partition_point(intervals_.begin(), intervals_.end(),
                                       [id](const Interval& interval) { return interval.last < id; });
  return at != intervals_.end() && at->first <= id;
}

// As a whole or, where memory is short, not at all; as `remove`.
void IdSet::add(const IdSet& other) {
  std::vector<Interval> both;
  both.reserve(intervals_.size() + other.intervals_.size());
  std::merge(intervals_.begin(), intervals_.end(), other.intervals_.begin(), other.intervals_.end(),
             std::back_inserter(both), [](const Interval& a, const Interval& b) { return a.first < b.first; });
  std::vector<Interval> joined;
  joined.reserve(both.size());
  for (const auto& next : both) {
    if (!joined.empty() && (next.first <= joined.back().last || next.first - 1 == joined.back().last)) {
      joined.back().last = std::max(joined.back().last, next.last);
    } else {
      joined.push_back(next);
    }
  }
  intervals_.swap(joined);
}

void IdSet::remove(const IdSet& other) {
  std::vector<Interval> left;
  left.reserve(intervals_.size() + other.intervals_.size());
  auto gone = other.intervals_.begin();
  for (const auto& interval : intervals_) {
    while (gone != other.intervals_.end() && gone->last < interval.first) ++gone;
    auto first = interval.first;
    bool rest = true;
    for (auto hole = gone; rest && hole != other.intervals_.end() && hole->first <= interval.last; ++hole) {
      if (first < hole->first) left.push_back({first, hole->first - 1});
      rest = hole->last < interval.last;
      if (rest) first = hole->last + 1;
    }
    if (rest) left.push_back({first, interval.last});
  }
  intervals_.swap(left);
}

}  // namespace zul
