#include "RequestLog.h"

#include <fmt/format.h>

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <memory>
#include <stdexcept>
#include <system_error>
#include <utility>

namespace zul::collector {

RequestLog::RequestLog(const CollectorOptions& options)
    : keepBodies_(options.keepBodies),
      maxRequests_(options.maxRequests),
      maxBytes_(options.maxBytes),
      onRecorded_(options.onRecorded),
      era_(static_cast<std::uint64_t>(std::chrono::system_clock::now().time_since_epoch() /
                                      std::chrono::microseconds(1))),
      fileName_(options.recordFile) {
  if (fileName_.empty()) return;
  file_.open(fileName_, std::ios::app | std::ios::binary);
  if (!file_) {
    throw std::runtime_error(
        fmt::format("cannot write the record file {}: {}", fileName_, std::generic_category().message(errno)));
  }
}

std::uint64_t RequestLog::arrived() {
  return ++lastSequence_;
}

void RequestLog::add(RecordedRequest request) {
  write(request);
  if (!keepBodies_) request.bodyText = request.rawBody = {};
  const auto added = std::make_shared<RecordedRequest>(std::move(request));
  std::vector<RequestPtr> dropped;  // to go once others may log again
  {
    const MutexLock lock(mutex_);
    added->recorded = ++lastRecorded_;
    byRecording_.push_back(added);
    const auto place =
        std::upper_bound(requests_.begin(), requests_.end(), added->sequence,
                         [](std::uint64_t sequence, const RequestPtr& other) { return sequence < other->sequence; });
    requests_.insert(place, added);
    bytes_ += added->footprint();
    ++counts_.total;
    ++(added->good() ? counts_.good : counts_.bad);
    if (added->verdict() == "suspicious") ++counts_.suspicious;
    ++endpointCounts_[static_cast<std::size_t>(added->endpoint)];
    dropOldest(dropped);
  }
  added_.notifyAll();
  if (onRecorded_) onRecorded_(*added);
}

void RequestLog::dropOldest(std::vector<RequestPtr>& dropped) {
  while (requests_.size() > 1 && (requests_.size() > maxRequests_ || bytes_ > maxBytes_)) {
    bytes_ -= requests_.front()->footprint();
    byRecording_.erase(std::find(byRecording_.begin(), byRecording_.end(), requests_.front()));  // at its very begin
    dropped.push_back(std::move(requests_.front()));
    requests_.pop_front();
  }
}

void RequestLog::write(const RecordedRequest& request) {
  if (fileName_.empty()) return;
  std::string line;
  appendJson(line, request);
  line += '\n';
  const MutexLock lock(fileMutex_);
  if (!file_) return;
  file_ << line << std::flush;
  if (!file_) {
    // One note is enough: the collector goes on without the file.
    std::fputs(fmt::format("zul-collector: cannot write {} any more\n", fileName_).c_str(), stderr);
  }
}

void RequestLog::reset() {
  const MutexLock lock(mutex_);
  requests_.clear();
  byRecording_.clear();
  lastRecorded_ = 0;
  ++era_;
  bytes_ = 0;
  counts_ = {};
  endpointCounts_ = {};
}

Counts RequestLog::counts() const {
  const MutexLock lock(mutex_);
  return counts_;
}

RequestLog::News RequestLog::after(const Position& position, std::size_t most) const {
  const MutexLock lock(mutex_);
  News news{{era_, position.recorded}, position.era != era_, 0, {}, counts_};
  if (news.begun) news.position.recorded = 0;
  const auto begin =
      std::upper_bound(byRecording_.begin(), byRecording_.end(), news.position.recorded,
                       [](std::uint64_t recorded, const RequestPtr& other) { return recorded < other->recorded; });
  const auto end = begin + static_cast<std::ptrdiff_t>(std::min<std::size_t>(most, byRecording_.end() - begin));
  news.requests.assign(begin, end);
  if (news.requests.empty()) return news;
  if (!news.begun) news.missed = news.requests.front()->recorded - news.position.recorded - 1;
  news.position.recorded = news.requests.back()->recorded;
  return news;
}

RequestPtr RequestLog::request(std::uint64_t sequence) const {
  const MutexLock lock(mutex_);
  const auto at =
      std::lower_bound(requests_.begin(), requests_.end(), sequence,
                       [](const RequestPtr& other, std::uint64_t wanted) { return other->sequence < wanted; });
  return at != requests_.end() && (*at)->sequence == sequence ? *at : nullptr;
}

std::vector<RequestPtr> RequestLog::requests(const Filter& wanted, std::size_t most) const {
  std::vector<RequestPtr> found;
  const MutexLock lock(mutex_);
  for (auto at = requests_.begin(); at != requests_.end() && found.size() < most; ++at) {
    if (wanted(**at)) found.push_back(*at);
  }
  return found;
}

bool RequestLog::waitFor(std::uint64_t count, std::chrono::milliseconds timeout) const {
  const MutexLock lock(mutex_);
  const auto deadline = std::chrono::steady_clock::now() + timeout;
  while (counts_.total < count && added_.waitUntil(mutex_, deadline)) {
  }
  return counts_.total >= count;
}

bool RequestLog::waitFor(Endpoint endpoint, std::uint64_t count, std::chrono::milliseconds timeout) const {
  const MutexLock lock(mutex_);
  const auto deadline = std::chrono::steady_clock::now() + timeout;
  const auto& reached = endpointCounts_[static_cast<std::size_t>(endpoint)];
  while (reached < count && added_.waitUntil(mutex_, deadline)) {
  }
  return reached >= count;
}

RequestPtr RequestLog::waitFor(const Filter& wanted, std::chrono::milliseconds timeout) const {
  const MutexLock lock(mutex_);
  const auto deadline = std::chrono::steady_clock::now() + timeout;
  auto found = find(wanted);
  for (bool inTime = true; inTime && !found; found = find(wanted)) inTime = added_.waitUntil(mutex_, deadline);
  return found;
}

RequestPtr RequestLog::find(const Filter& wanted) const {
  const auto at =
      std::find_if(requests_.begin(), requests_.end(), [&](const RequestPtr& request) { return wanted(*request); });
  return at != requests_.end() ? *at : nullptr;
}

}  // namespace zul::collector
