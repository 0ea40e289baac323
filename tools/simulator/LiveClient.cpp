#include "LiveClient.h"

#include <condition_variable>
#include <mutex>
#include <utility>
#include <vector>

namespace zul::simulator {

struct LiveClient::Inbox {
  std::mutex mutex;
  std::condition_variable arrived;
  std::vector<std::pair<Completion, platform::HttpResponse>> answers;
};

LiveClient::LiveClient(std::shared_ptr<platform::HttpClient> client)
    : client_(std::move(client)), inbox_(std::make_shared<Inbox>()) {}

void LiveClient::send(platform::HttpRequest request, Completion completion) {
  ++open_;
  client_->send(std::move(request), [inbox = inbox_, completion = std::move(completion)](auto response) mutable {
    const std::lock_guard lock(inbox->mutex);
    inbox->answers.emplace_back(std::move(completion), std::move(response));
    inbox->arrived.notify_one();
  });
}

platform::HttpResponse LiveClient::fetch(platform::HttpRequest request) {
  return client_->fetch(std::move(request));
}

bool LiveClient::deliver(Moment deadline) {
  std::unique_lock lock(inbox_->mutex);
  inbox_->arrived.wait_until(lock, deadline, [&] { return !inbox_->answers.empty(); });
  const auto answers = std::exchange(inbox_->answers, {});
  lock.unlock();
  open_ -= answers.size();
  for (const auto& [completion, response] : answers) completion(response);
  return !answers.empty();
}

void LiveClient::deliverAll() {
  while (open_ > 0) deliver(std::chrono::steady_clock::now() + std::chrono::seconds(1));
}

}  // namespace zul::simulator
