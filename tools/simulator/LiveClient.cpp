#include "LiveClient.h"

#include <utility>
#include <vector>

#include "Mutex.h"

namespace zul::simulator {

struct LiveClient::Inbox {
  using Answers = std::vector<std::pair<Completion, platform::HttpResponse>>;

  Mutex mutex;
  Condition arrived;
  Answers answers ZUL_GUARDED_BY(mutex);
};

LiveClient::LiveClient(std::shared_ptr<platform::HttpClient> client)
    : client_(std::move(client)), inbox_(std::make_shared<Inbox>()) {}

void LiveClient::send(platform::HttpRequest request, Completion completion) {
  ++open_;
  client_->send(std::move(request), [inbox = inbox_, completion = std::move(completion)](auto response) mutable {
    const MutexLock lock(inbox->mutex);
    inbox->answers.emplace_back(std::move(completion), std::move(response));
    inbox->arrived.notifyOne();
  });
}

platform::HttpResponse LiveClient::fetch(platform::HttpRequest request) {
  return client_->fetch(std::move(request));
}

bool LiveClient::deliver(Moment deadline) {
  Inbox::Answers answers;
  {
    const MutexLock lock(inbox_->mutex);
    while (inbox_->answers.empty() && inbox_->arrived.waitUntil(inbox_->mutex, deadline)) {
    }
    answers.swap(inbox_->answers);
  }
  open_ -= answers.size();
  for (const auto& [completion, response] : answers) completion(response);
  return !answers.empty();
}

}  // namespace zul::simulator
