#pragma once

#include <atomic>
#include <chrono>
#include <memory>
#include <utility>

#include "zul/platform/HttpClient.h"

namespace zul::test {

/// The real client, watched: how many uploads are over, when the last one was, and whether anything is under way.
class WatchedHttp final : public platform::HttpClient {
 public:
  using Moment = std::chrono::steady_clock::time_point;

  explicit WatchedHttp(std::shared_ptr<platform::HttpClient> real) : real_(std::move(real)) {}
  void send(platform::HttpRequest request, Completion completion) override;
  platform::HttpResponse fetch(platform::HttpRequest request) override { return real_->fetch(std::move(request)); }
  void stop() noexcept override { real_->stop(); }

  int uploads() const { return state_->uploads; }
  bool idle() const { return state_->underWay == 0; }
  Moment lastUpload() const { return state_->lastUpload; }

 private:
  // Shared with the completions, which may outlive the client.
  struct State {
    std::atomic<int> underWay{0};
    std::atomic<int> uploads{0};
    std::atomic<Moment> lastUpload{Moment()};
  };
  std::shared_ptr<platform::HttpClient> real_;
  std::shared_ptr<State> state_ = std::make_shared<State>();
};

}  // namespace zul::test
