#include "DevCollector.h"

#include <fmt/format.h>

#include <atomic>
#include <boost/json.hpp>
#include <cstdint>
#include <optional>
#include <stdexcept>
#include <utility>

#include "Answers.h"
#include "Contract.h"
#include "HttpServer.h"
#include "Json.h"
#include "RequestLog.h"

namespace zul::collector {

namespace {

const std::string kAccepted = R"({"code":"RES001","msg":"OK"})";

std::string refusal(std::string_view reason) {
  return json::text(boost::json::object{{"code", "ERR400"}, {"msg", reason}});
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

std::string_view answersHelp() noexcept {
  return R"(The answers file is a JSON object of lists by endpoint: token, upload, errorlog, pushclick,
fingerprint, appstore. Each good request takes the next answer of its list; the last one repeats.
An answer is an object, all of its members optional:
  "body"    any JSON value, or {"raw": "text"} for text as it stands; absent: the usual answer
  "status"  200 to 599; absent: 200
  "delay"   milliseconds to wait before answering
  "close"   true closes the connection without an answer
For example: {"upload": [{"status": 500, "body": {"raw": "broken"}}, {"delay": 2000}, {"close": true}, {}]}

While it runs: GET /inspect/all, /inspect/good, /inspect/bad; POST /inspect/reset; POST /inspect/answers.)";
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

  const CollectorOptions options;
  std::atomic<int> port = 0;
  Answers answers;
  RequestLog log;

 private:
  HttpReply handle(HttpRequest&& request) {
    if (auto reply = inspect(request)) return *reply;
    RecordedRequest recorded;
    recorded.sequence = log.arrived();
    recorded.time = std::chrono::system_clock::now();
    auto verdict = judge(request);
    recorded.endpoint = verdict.endpoint;
    recorded.method = std::move(request.method);
    recorded.path = std::move(verdict.path);
    recorded.query = std::move(verdict.query);
    recorded.headers = std::move(request.headers);
    recorded.rawSize = request.body.size();
    recorded.bodyText = std::move(verdict.body);
    recorded.problem = std::move(verdict.problem);
    auto reply = recorded.good() ? answer(recorded) : HttpReply{verdict.status, refusal(recorded.problem)};
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
    const bool get = request.method == "GET";
    if (get && request.target == "/inspect/all") return listing(any);
    if (get && request.target == "/inspect/good") return listing(isGood);
    if (get && request.target == "/inspect/bad") return listing(isBad);
    if (request.method != "POST") return std::nullopt;
    if (request.target == "/inspect/reset") {
      log.reset();
      return HttpReply{200, kAccepted};
    }
    if (request.target != "/inspect/answers") return std::nullopt;
    try {
      answers.set(request.body);
      return HttpReply{200, kAccepted};
    } catch (const std::invalid_argument& error) {
      return HttpReply{400, refusal(error.what())};
    }
  }

  HttpReply listing(const RequestLog::Filter& wanted) const {
    const auto [total, good, bad] = log.counts();
    auto page = fmt::format(R"({{"total":{},"good":{},"bad":{},"requests":[)", total, good, bad);
    for (const auto& request : log.requests(wanted)) {
      if (page.back() != '[') page += ',';
      appendJson(page, *request);
    }
    return {200, page + "]}"};
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
  impl_->log.reset();
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
