#include "DevCollector.h"

#include <fmt/format.h>

#include <algorithm>
#include <atomic>
#include <boost/json.hpp>
#include <cstdint>
#include <optional>
#include <stdexcept>
#include <utility>

#include "Answers.h"
#include "Console.h"
#include "Contract.h"
#include "Endpoints.h"
#include "HttpServer.h"
#include "Json.h"
#include "Replies.h"
#include "RequestLog.h"
#include "SessionCheck.h"
#include "SessionHistory.h"

namespace zul::collector {

namespace {

/// Whether a client takes the payloads of its upload for delivered.
bool accepts(const HttpReply& reply) {
  if (reply.drop || reply.status != 200) return false;
  const auto answer = json::parseObject(reply.body);
  return answer && json::string(*answer, "code") == wire::kAccepted;
}

bool any(const RecordedRequest&) {
  return true;
}
bool isGood(const RecordedRequest& request) {
  return request.good();
}
bool isBad(const RecordedRequest& request) {
  return !request.good();
}

}  // namespace

std::string refusal(std::string_view reason) {
  return json::text(boost::json::object{{"code", "ERR400"}, {"msg", reason}});
}

std::string_view answersHelp() noexcept {
  return R"(The answers file is a JSON object of lists by endpoint: token, upload, errorlog, pushclick,
fingerprint, appstore. Each good request takes the next answer of its list; the last one repeats.
An answer is an object, all of its members optional:
  "body"    any JSON value, or {"raw": "text"} for text as it stands; absent: the usual answer
  "status"  200 to 599; absent: 200
  "delay"   milliseconds to wait before answering
  "close"   true closes the connection without an answer
For example: {"upload": [{"status": 500, "body": {"raw": "broken"}}, {"delay": 2000}, {"close": true}, {}]}

While it runs: GET /inspect/all, /inspect/good, /inspect/suspicious, /inspect/bad show the requests, with
?device=UUID&endpoint=NAME&verdict=WORD&since=SEQ&limit=N a part of them; POST /inspect/reset; POST /inspect/answers.
GET / is a page that shows them as they come.)";
}

class DevCollector::Impl {
 public:
  explicit Impl(CollectorOptions given)
      : options(std::move(given)), log(options), console(log, answers, [this] { reset(); }) {}

  void start() {
    if (server_) return;
    const ListenOptions listen{options.host, port ? port.load() : options.port, options.certFile, options.keyFile};
    server_ =
        std::make_unique<HttpServer>(listen, [this](HttpRequest&& request) { return handle(std::move(request)); });
    port = server_->port();
  }

  void stop() noexcept { server_.reset(); }

  void reset() {
    log.reset();
    history.reset();
  }

  const CollectorOptions options;
  std::atomic<int> port = 0;
  Answers answers;
  SessionHistory history;
  RequestLog log;
  const Console console;

 private:
  HttpReply handle(HttpRequest&& request) {
    if (auto reply = console.reply(request)) return std::move(*reply);
    RecordedRequest recorded;
    recorded.sequence = log.arrived();
    recorded.time = std::chrono::system_clock::now();
    Suspicions suspicions;
    std::vector<PayloadFacts> payloads;
    auto verdict = judge(request, [&](const boost::json::object& payload, std::string_view text) {
      payloads.push_back(checkPayload(payload, text, payloads.size(), suspicions));
    });
    recorded.endpoint = verdict.endpoint;
    recorded.method = std::move(request.method);
    recorded.path = std::move(verdict.path);
    recorded.query = std::move(verdict.query);
    recorded.headers = std::move(request.headers);
    recorded.rawSize = request.body.size();
    recorded.bodyText = std::move(verdict.body);
    if (options.keepBodies) recorded.rawBody = std::move(request.body);
    recorded.problem = std::move(verdict.problem);
    auto reply = recorded.good() ? answer(recorded) : HttpReply{verdict.status, refusal(recorded.problem)};
    recorded.answer = {reply.status, reply.body, reply.delay, reply.drop, recorded.good() && accepts(reply)};
    if (recorded.good() && !payloads.empty()) {
      history.compare(recorded.sequence, payloads, recorded.answer.accepted, suspicions);
      recorded.suspicions = std::move(suspicions).take();
    }
    if (!payloads.empty()) {
      recorded.device = payloads.back().uuid;
      recorded.model = payloads.back().model;
      recorded.visit = payloads.back().visit;
    }
    recorded.payloads = std::move(payloads);
    log.add(std::move(recorded));
    return reply;
  }

  HttpReply answer(const RecordedRequest& request) {
    auto answer = answers.next(request.endpoint);
    return {answer.status, answer.body ? std::move(*answer.body) : usualBody(request.endpoint, request.query),
            answer.delay, answer.close};
  }

  std::unique_ptr<HttpServer> server_;  // last, so that it goes first
};

DevCollector::DevCollector(CollectorOptions options) : impl_(std::make_unique<Impl>(std::move(options))) {}
DevCollector::~DevCollector() = default;

void DevCollector::start() {
  impl_->start();
}
void DevCollector::stop() noexcept {
  impl_->stop();
}
int DevCollector::port() const noexcept {
  return impl_->port;
}

std::string DevCollector::baseUrl() const {
  const auto& options = impl_->options;
  const auto& host = options.host;
  return fmt::format("{}://{}:{}", options.certFile.empty() ? "http" : "https",
                     host.find(':') == host.npos ? host : "[" + host + "]", port());
}

void DevCollector::setAnswers(std::string_view json) {
  impl_->answers.set(json);
}
void DevCollector::reset() {
  impl_->reset();
}
Counts DevCollector::counts() const {
  return impl_->log.counts();
}

std::vector<RequestPtr> DevCollector::requests() const {
  return impl_->log.requests(any);
}
std::vector<RequestPtr> DevCollector::requests(Endpoint endpoint) const {
  return impl_->log.requests([endpoint](const RecordedRequest& request) { return request.endpoint == endpoint; });
}
std::vector<RequestPtr> DevCollector::good() const {
  return impl_->log.requests(isGood);
}
std::vector<RequestPtr> DevCollector::bad() const {
  return impl_->log.requests(isBad);
}

bool DevCollector::waitFor(std::uint64_t count, std::chrono::milliseconds timeout) const {
  return impl_->log.waitFor(count, timeout);
}
bool DevCollector::waitFor(Endpoint endpoint, std::uint64_t count, std::chrono::milliseconds timeout) const {
  return impl_->log.waitFor(endpoint, count, timeout);
}
RequestPtr DevCollector::waitFor(const std::function<bool(const RecordedRequest&)>& wanted,
                                 std::chrono::milliseconds timeout) const {
  return impl_->log.waitFor(wanted, timeout);
}

}  // namespace zul::collector
