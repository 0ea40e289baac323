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
#include "Contract.h"
#include "Endpoints.h"
#include "HttpServer.h"
#include "Inspection.h"
#include "Json.h"
#include "RequestLog.h"
#include "SessionCheck.h"
#include "SessionHistory.h"

namespace zul::collector {

namespace {

const std::string kAccepted = R"({"code":"RES001","msg":"OK"})";

std::string refusal(std::string_view reason) {
  return json::text(boost::json::object{{"code", "ERR400"}, {"msg", reason}});
}

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
bool isSuspicious(const RecordedRequest& request) {
  return request.verdict() == "suspicious";
}
bool isBad(const RecordedRequest& request) {
  return !request.good();
}

}  // namespace

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
?device=UUID&endpoint=NAME&verdict=WORD&since=SEQ&limit=N a part of them; POST /inspect/reset; POST /inspect/answers.)";
}

class DevCollector::Impl {
 public:
  explicit Impl(CollectorOptions given) : options(std::move(given)), log(options) {}

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

 private:
  HttpReply handle(HttpRequest&& request) {
    if (auto reply = inspect(request)) return *reply;
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
    recorded.problem = std::move(verdict.problem);
    auto reply = recorded.good() ? answer(recorded) : HttpReply{verdict.status, refusal(recorded.problem)};
    if (recorded.good() && !payloads.empty()) {
      history.compare(recorded.sequence, payloads, accepts(reply), suspicions);
      recorded.suspicions = std::move(suspicions).take();
    }
    recorded.payloads = payloads.size();
    if (!payloads.empty()) {
      recorded.device = std::move(payloads.back().uuid);
      recorded.model = std::move(payloads.back().model);
      recorded.visit = payloads.back().visit;
    }
    log.add(std::move(recorded));
    return reply;
  }

  HttpReply answer(const RecordedRequest& request) {
    auto answer = answers.next(request.endpoint);
    return {answer.status, answer.body ? std::move(*answer.body) : usualBody(request.endpoint, request.query),
            answer.delay, answer.close};
  }

  std::optional<HttpReply> inspect(const HttpRequest& request) {
    if (!request.problem.empty()) return std::nullopt;
    const std::string_view target = request.target;
    const auto path = target.substr(0, target.find('?'));
    const auto query = target.substr(std::min(path.size() + 1, target.size()));
    try {
      if (request.method == "GET") {
        if (path == "/inspect/all") return listing(query, any);
        if (path == "/inspect/good") return listing(query, isGood);
        if (path == "/inspect/suspicious") return listing(query, isSuspicious);
        if (path == "/inspect/bad") return listing(query, isBad);
      } else if (request.method == "POST" && path == "/inspect/reset") {
        reset();
        return HttpReply{200, kAccepted};
      } else if (request.method == "POST" && path == "/inspect/answers") {
        answers.set(request.body);
        return HttpReply{200, kAccepted};
      }
    } catch (const std::invalid_argument& error) {
      return HttpReply{400, refusal(error.what())};
    }
    return std::nullopt;
  }

  HttpReply listing(std::string_view query, const RequestLog::Filter& wanted) const {
    return {200, inspectionPage(log, readSelection(query), wanted)};
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
