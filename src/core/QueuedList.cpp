#include "QueuedList.h"

#include <algorithm>
#include <iterator>
#include <utility>

#include "Json.h"

namespace zul {

namespace {

// Payloads read at a time. Of a list whose upload finds no collector it is the first page only: enough to see whether
// there is more than one.
constexpr std::size_t kFirstPage = 2;
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

QueuedList::QueuedList(std::shared_ptr<QueueReader> queue, IdSet ids)
    : queue_(std::move(queue)), ids_(std::move(ids)) {}

bool QueuedList::empty() {
  read();
  return page_.empty();
}

bool QueuedList::isSingle() {
  read();
  return page_.size() == 1 && unread() == nullptr;
}

const IdSet::Interval* QueuedList::unread() const {
  const auto& all = ids_.intervals();
  const auto ids =
      std::find_if(all.begin(), all.end(), [this](const auto& interval) { return interval.last > after_; });
  return ids != all.end() ? &*ids : nullptr;
}

// Until there is a payload, or none is left.
void QueuedList::read() {
  while (page_.empty() && !unreadable_) {
    const auto* const ids = unread();
    if (ids == nullptr) return;
    if (ids->first > after_) after_ = ids->first - 1;
    auto page = queue_->payloads(after_, ids->last, begun_ ? kPage : kFirstPage);
    after_ = page.last.value_or(ids->last);
    fromMemory_ = fromMemory_ || (page.failed && !begun_);
    unreadable_ = page.failed && !fromMemory_;
    std::move(page.payloads.begin(), page.payloads.end(), std::back_inserter(page_));
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
