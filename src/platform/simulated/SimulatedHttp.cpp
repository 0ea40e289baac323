#include "SimulatedHttp.h"

#include <algorithm>

#include "SimulatedDispatcher.h"

namespace zul::platform {

SimulatedHttp::Answer SimulatedHttp::next(const HttpRequest& request) {
  const auto found = std::find_if(answers_.begin(), answers_.end(), [&](const auto& entry) {
    return request.url.find(entry.first) != std::string::npos;
  });
  if (!online_ || found == answers_.end()) {
    Answer answer;
    answer.error = "network unreachable";
    return answer;
  }
  auto& script = found->second;
  if (!script.waiting.empty()) {
    script.current = std::move(script.waiting.front());
    script.waiting.pop_front();
  }
  return script.current;
}

HttpResponse SimulatedHttp::response(const Answer& answer) {
  HttpResponse response;
  response.error = answer.error;
  if (response.ok()) {
    response.status = answer.status;
    response.body = answer.body;
  }
  return response;
}

void SimulatedHttp::send(HttpRequest request, Completion completion) {
  requests_.push_back(request);
  if (upstream_ && online_) {
    upstream_->send(std::move(request),
                    [process = std::weak_ptr(process_), completion = std::move(completion)](auto response) {
                      if (process.lock()) completion(std::move(response));
                    });
    return;
  }
  const Answer answer = next(request);
  dispatcher_->after(answer.delay, Dispatcher::Queue::global,
                     [answer, completion = std::move(completion)] { completion(response(answer)); });
}

HttpResponse SimulatedHttp::fetch(HttpRequest request) {
  requests_.push_back(request);
  if (upstream_ && online_) return upstream_->fetch(std::move(request));
  const Answer answer = next(request);
  const double timeout = request.timeout > 0 ? request.timeout : 60;
  dispatcher_->sleep(std::min(answer.delay, timeout));
  if (answer.delay <= timeout) return response(answer);
  HttpResponse late;
  late.error = "timed out";
  return late;
}

std::vector<HttpRequest> SimulatedHttp::requests(const std::string& piece) const {
  std::vector<HttpRequest> matching;
  std::copy_if(requests_.begin(), requests_.end(), std::back_inserter(matching),
               [&](const HttpRequest& request) { return request.url.find(piece) != std::string::npos; });
  return matching;
}

}  // namespace zul::platform
