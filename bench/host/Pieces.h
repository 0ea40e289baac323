#pragma once

#include <zul/platform/Dispatcher.h>
#include <zul/platform/DocumentStore.h>
#include <zul/platform/HttpClient.h>

#include <atomic>
#include <chrono>
#include <cstdint>
#include <functional>
#include <memory>
#include <string_view>

namespace zul::bench {

/// The real dispatcher, save that a start-up completes at once instead of after seconds.
class HastyDispatcher final : public platform::Dispatcher {
 public:
  explicit HastyDispatcher(std::shared_ptr<platform::Dispatcher> real) : real_(std::move(real)) {}
  void async(Queue queue, platform::Task task) override { real_->async(queue, std::move(task)); }
  void after(double seconds, Queue queue, platform::Task task) override;
  std::unique_ptr<platform::Timer> repeat(double seconds, platform::Task task) override {
    return real_->repeat(seconds, std::move(task));
  }
  std::shared_ptr<platform::SerialQueue> serialQueue() override { return real_->serialQueue(); }
  void sleep(double seconds) override { real_->sleep(seconds); }
  void stop() noexcept override { real_->stop(); }

 private:
  std::shared_ptr<platform::Dispatcher> real_;
};

/// The real client, watched: how many uploads are over, when the last one was, and whether anything is
/// under way.
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

/// The real store, with its commits counted.
class CountingStore final : public platform::DocumentStore {
 public:
  explicit CountingStore(std::shared_ptr<platform::DocumentStore> real) : real_(std::move(real)) {}
  Loaded load(Table table, std::string_view key) override { return real_->load(table, key); }
  Loaded loadAll(Table table) override { return real_->loadAll(table); }
  Status commit(std::span<const Write> writes) override;
  bool needsMaintenance() const override { return real_->needsMaintenance(); }
  void maintain() override { real_->maintain(); }
  std::string lastError() const override { return real_->lastError(); }

  int commits() const { return commits_; }

 private:
  std::shared_ptr<platform::DocumentStore> real_;
  std::atomic<int> commits_{0};
};

}  // namespace zul::bench
