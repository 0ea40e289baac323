#include "QueuedList.h"

#include <algorithm>
#include <limits>
#include <utility>

#include "Json.h"

namespace zul {

namespace {

// Payloads read at a time. Of a list whose upload finds no collector there is one.
constexpr std::size_t kFirstPage = 1;
constexpr std::size_t kPage = 16;

}  // namespace

void QueueReader::end() {
  const MutexLock lock(mutex_);
  db_ = nullptr;
}

LocalDB::Page QueueReader::payloads(std::int64_t after, std::int64_t through, std::size_t most) {
  const MutexLock lock(mutex_);
  return db_ != nullptr ? db_->payloads(after, through, most) : LocalDB::Page{true, {}, {}};
}

QueuedList::QueuedList(std::shared_ptr<QueueReader> queue, IdSet ids) : queue_(std::move(queue)), ids_(std::move(ids)) {
  constexpr auto kLowest = std::numeric_limits<std::int64_t>::min();
  if (!ids_.empty()) after_ = std::max(ids_.intervals().front().first, kLowest + 1) - 1;
}

bool QueuedList::empty() {
  read();
  return page_.empty();
}

// Until there is a payload, or none is left.
void QueuedList::read() {
  while (page_.empty() && after_ && !unreadable_) {
    auto page = queue_->payloads(*after_, ids_.intervals().back().last, begun_ ? kPage : kFirstPage);
    after_ = page.last;
    unreadable_ = page.failed && begun_;
    for (auto& queued : page.payloads) {
      if (ids_.contains(queued.id)) page_.push_back(std::move(queued));
    }
  }
}

std::optional<std::string_view> QueuedList::next() {
  if (ended_) return std::string_view();
  read();
  if (unreadable_) return std::nullopt;
  begun_ = true;
  if (page_.empty()) {
    ended_ = true;
    return oldest_ ? "\n]" : "[\n]";
  }
  const auto queued = std::move(page_.front());
  page_.pop_front();
  piece_ = oldest_ ? ",\n  " : "[\n  ";
  json::appendPretty(piece_, *queued.payload, 1);
  sent_.add({queued.id, queued.id});
  if (!oldest_) oldest_ = queued.payload;
  newest_ = queued.payload;
  return piece_;
}

}  // namespace zul
