#pragma once

#include <chrono>
#include <cstddef>
#include <memory>

#include "zul/platform/HttpClient.h"

namespace zul::simulator {

/// A real HTTP client for simulated devices: its answers are collected, and handed to the devices on the one thread
/// that they live on.
class LiveClient final : public platform::HttpClient {
 public:
  explicit LiveClient(std::shared_ptr<platform::HttpClient> client);

  void send(platform::HttpRequest request, Completion completion) override;
  platform::HttpResponse fetch(platform::HttpRequest request) override;
  /// Does nothing: a device's process ends, and this client serves the next.
  void stop() noexcept override {}

  using Moment = std::chrono::steady_clock::time_point;

  /// Waits until an answer is there or `deadline` has come, and completes what has been answered. False when that was
  /// nothing.
  bool deliver(Moment deadline);

  /// How many requests were sent and not completed yet.
  std::size_t open() const { return open_; }

 private:
  struct Inbox;

  std::shared_ptr<platform::HttpClient> client_;
  std::shared_ptr<Inbox> inbox_;  // shared with answers on their way
  std::size_t open_ = 0;
};

}  // namespace zul::simulator
