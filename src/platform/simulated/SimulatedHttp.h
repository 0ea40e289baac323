#pragma once

#include <deque>
#include <functional>
#include <map>
#include <memory>
#include <vector>

#include "zul/platform/HttpClient.h"

namespace zul::platform {

class SimulatedDispatcher;

/// Scripted answers in virtual time, and a record of what was asked. An endpoint is named by a piece of
/// its URL; its answers are used up in order, and the last one repeats until another is added.
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
  /// What is open ends unanswered, as with its process; later requests are answered again.
  void stop() noexcept override { process_ = std::make_shared<char>(); }

  /// Adds an answer for URLs that contain `piece`. Without any the request fails.
  void answer(const std::string& piece, Answer answer) { answers_[piece].waiting.push_back(std::move(answer)); }
  /// Gives this answer from now on, in the place of those added so far.
  void setAnswer(const std::string& piece, Answer answer) { answers_[piece] = {{}, std::move(answer)}; }
  /// Forgets the answers given so far for `piece`.
  void forget(const std::string& piece) { answers_.erase(piece); }
  /// Offline, every request fails at once, and open ones when their answer would come.
  void setOnline(bool online) { online_ = online; }
  /// Has another client answer, in the place of the script, where a URL begins with `baseUrl`. It completes on the
  /// dispatcher's thread.
  void setUpstream(std::shared_ptr<HttpClient> upstream, std::string baseUrl) {
    upstream_ = std::move(upstream);
    upstreamBaseUrl_ = std::move(baseUrl);
  }
  /// Takes over the answers that another would give from now on.
  void answerLike(const SimulatedHttp& other) {
    answers_ = other.answers_;
    setUpstream(other.upstream_, other.upstreamBaseUrl_);
  }

  /// All requests so far, in the order they were made.
  const std::vector<HttpRequest>& requests() const { return requests_; }
  /// Those whose URL contains `piece`.
  std::vector<HttpRequest> requests(const std::string& piece) const;
  void clearRequests() { requests_.clear(); }

  /// Gets each request as it is made; null: nobody does.
  std::function<void(const HttpRequest&)> onRequest;

 private:
  struct Script {
    std::deque<Answer> waiting;
    Answer current;
  };

  bool note(HttpRequest& request);
  Answer next(const HttpRequest& request);
  HttpResponse response(const Answer& answer) const;
  bool goesUpstream(const HttpRequest& request) const;

  std::shared_ptr<SimulatedDispatcher> dispatcher_;
  std::map<std::string, Script> answers_;
  std::vector<HttpRequest> requests_;
  bool online_ = true;
  std::shared_ptr<HttpClient> upstream_;
  std::string upstreamBaseUrl_;
  std::shared_ptr<char> process_ = std::make_shared<char>();  // whose requests are open
};

}  // namespace zul::platform
