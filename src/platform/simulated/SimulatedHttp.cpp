#include "SimulatedHttp.h"

#include <algorithm>
#include <optional>
#include <utility>

#include "SimulatedDispatcher.h"

namespace zul::platform {

namespace {

constexpr const char* kUnreachable = "network unreachable";

// Seconds without a byte after which a request fails, as it does with the real client.
constexpr double kSilence = 60;

// Seconds between two looks whether an answer is there that somebody waits for.
constexpr double kLook = 0.01;

}  // namespace

// Reads a body that is made while it is sent: whoever looks at the requests wants to see it. False when it fails.
bool SimulatedHttp::note(HttpRequest& request) {
  if (request.bodySource) {
    request.body = std::exchange(request.bodySource, nullptr)->readAll();
    if (!request.body) return false;
  }
  requests_.push_back(request);
  if (onRequest) onRequest(request);
  return true;
}

SimulatedHttp::Answer SimulatedHttp::next(const HttpRequest& request) {
  const auto found = std::find_if(answers_.begin(), answers_.end(), [&](const auto& entry) {
    return request.url.find(entry.first) != std::string::npos;
  });
  if (!online_ || found == answers_.end()) return {.body = "", .error = kUnreachable};
  auto& script = found->second;
  if (!script.waiting.empty()) {
    script.current = std::move(script.waiting.front());
    script.waiting.pop_front();
  }
  const double patience = request.timeout > 0 ? request.timeout : kSilence;
  if (script.current.delay > patience) return {.body = "", .delay = patience, .error = "timed out"};
  return script.current;
}

// Of an answer that has arrived.
HttpResponse SimulatedHttp::response(const Answer& answer) const {
  HttpResponse response;
  response.error = online_ ? answer.error : kUnreachable;
  if (response.ok()) {
    response.status = answer.status;
    response.body = answer.body;
  }
  return response;
}

bool SimulatedHttp::goesUpstream(const HttpRequest& request) const {
  return upstream_ && online_ && request.url.starts_with(upstreamBaseUrl_);
}

void SimulatedHttp::send(HttpRequest request, Completion completion) {
  const std::weak_ptr<char> process = process_;
  if (!note(request)) {
    dispatcher_->after(0, Dispatcher::Queue::global, [process, completion = std::move(completion)] {
      if (process.lock()) completion({.error = "the body could not be made", .body = std::nullopt});
    });
    return;
  }
  if (goesUpstream(request)) {
    upstream_->send(std::move(request), [this, process, completion = std::move(completion)](auto response) {
      if (!process.lock()) return;
      if (!online_) response = this->response({});
      completion(std::move(response));
    });
    return;
  }
  const Answer answer = next(request);
  dispatcher_->after(answer.delay, Dispatcher::Queue::global,
                     [this, process, answer, completion = std::move(completion)] {
                       if (process.lock()) completion(response(answer));
                     });
}

HttpResponse SimulatedHttp::fetch(HttpRequest request) {
  if (goesUpstream(request) && dispatcher_->paced()) {
    // Others go on meanwhile, so it is waited for like all else.
    std::optional<HttpResponse> answer;
    const auto arrived = std::make_shared<std::optional<HttpResponse>*>(&answer);
    send(std::move(request), [arrived](auto response) {
      if (*arrived) **arrived = std::move(response);
    });
    while (!answer && !dispatcher_->stopping()) dispatcher_->sleep(kLook);
    *arrived = nullptr;
    return answer ? std::move(*answer) : HttpResponse{.error = kUnreachable, .body = std::nullopt};
  }
  note(request);  // what is waited for has its body
  if (goesUpstream(request)) return upstream_->fetch(std::move(request));
  const Answer answer = next(request);
  dispatcher_->sleep(answer.delay);
  return response(answer);
}

std::vector<HttpRequest> SimulatedHttp::requests(const std::string& piece) const {
  std::vector<HttpRequest> matching;
  std::copy_if(requests_.begin(), requests_.end(), std::back_inserter(matching),
               [&](const HttpRequest& request) { return request.url.find(piece) != std::string::npos; });
  return matching;
}

}  // namespace zul::platform
