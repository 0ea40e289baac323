#pragma once

#include <functional>
#include <map>
#include <memory>
#include <vector>

#include "zul/platform/HttpClient.h"

namespace zul::platform {

class SimulatedDispatcher;

/// Scripted answers in virtual time, and a record of what was asked. An endpoint is named by a piece of
/// its URL; its answers are used up in order and the last one repeats.
class SimulatedHttp final : public HttpClient {
 public:
  struct Answer {
    std::string body;
    int status = 200;
    double delay = 0;     ///< seconds
    std::string error{};  ///< not empty: the transport fails with it
  };

  explicit SimulatedHttp(std::shared_ptr<SimulatedDispatcher> dispatcher) : dispatcher_(std::move(dispatcher)) {}

  void send(HttpRequest request, Completion completion) override;
  HttpResponse fetch(HttpRequest request) override;
  void stop() noexcept override {}  // what is open ends with the dispatcher's tasks

  /// Adds an answer for URLs that contain `piece`. Without any the request fails.
  void answer(const std::string& piece, Answer answer) { answers_[piece].push_back(std::move(answer)); }
  /// Forgets the answers given so far for `piece`.
  void forget(const std::string& piece) { answers_.erase(piece); }
  /// Offline, every request fails at once.
  void setOnline(bool online) { online_ = online; }

  /// All requests so far, in the order they were made.
  const std::vector<HttpRequest>& requests() const { return requests_; }
  /// Those whose URL contains `piece`.
  std::vector<HttpRequest> requests(const std::string& piece) const;
  void clearRequests() { requests_.clear(); }

 private:
  Answer next(const HttpRequest& request);
  static HttpResponse response(const Answer& answer);

  std::shared_ptr<SimulatedDispatcher> dispatcher_;
  std::map<std::string, std::vector<Answer>> answers_;
  std::vector<HttpRequest> requests_;
  bool online_ = true;
};

}  // namespace zul::platform
