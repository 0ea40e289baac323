#include "Pieces.h"

namespace zul::bench {

namespace {

constexpr double kStartUp = 5;  // seconds from the start to its completion; what the store waits for stays as it is
constexpr double kInstead = 0.02;

}  // namespace

void HastyDispatcher::after(double seconds, Queue queue, platform::Task task) {
  real_->after(seconds == kStartUp ? kInstead : seconds, queue, std::move(task));
}

void WatchedHttp::send(platform::HttpRequest request, Completion completion) {
  const bool upload = request.url.ends_with("dataRcv.do");
  ++state_->underWay;
  real_->send(std::move(request), [state = state_, upload, completion = std::move(completion)](auto response) {
    completion(std::move(response));
    if (upload) {
      state->lastUpload = std::chrono::steady_clock::now();
      ++state->uploads;
    }
    --state->underWay;
  });
}

platform::DocumentStore::Status CountingStore::commit(std::span<const Write> writes) {
  ++commits_;
  return real_->commit(writes);
}

}  // namespace zul::bench
