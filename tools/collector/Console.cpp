#include "Console.h"

#include <algorithm>
#include <memory>
#include <stdexcept>
#include <string>
#include <utility>

#include "EventFeed.h"
#include "Inspection.h"
#include "KeyGroups.h"
#include "PageFiles.h"
#include "RecordedRequest.h"
#include "Replies.h"

namespace zul::collector {

namespace {

/// What a browser may do with a page of ours: nothing but what the page's own files ask for. Whatever a payload holds,
/// there is no way from a text to markup or script.
constexpr std::string_view kPolicy =
    "default-src 'none'; script-src 'self'; style-src 'self'; img-src 'self'; connect-src 'self'; base-uri 'none'; "
    "form-action 'none'; frame-ancestors 'none'; require-trusted-types-for 'script'; trusted-types 'none'";

HttpReply own(std::string body, std::string_view type = "application/json") {
  HttpReply reply{200, std::move(body)};
  reply.type = type;
  reply.headers = {{"Content-Security-Policy", std::string(kPolicy)},
                   {"X-Content-Type-Options", "nosniff"},
                   {"Referrer-Policy", "no-referrer"},
                   {"Cache-Control", "no-store"}};
  return reply;
}

std::string_view header(const HttpRequest& request, std::string_view name) {
  const auto found = request.headers.find(name);
  return found == request.headers.end() ? std::string_view() : std::string_view(found->second);
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

Console::Console(const RequestLog& log, Answers& answers, std::function<void()> reset)
    : log_(log), answers_(answers), reset_(std::move(reset)) {}

std::optional<HttpReply> Console::reply(const HttpRequest& request) const {
  if (!request.problem.empty()) return std::nullopt;
  const std::string_view target = request.target;
  const auto path = target.substr(0, target.find('?'));
  try {
    if (request.method == "GET") return get(request, path, target.substr(std::min(path.size() + 1, target.size())));
    if (request.method == "POST") return post(request, path);
  } catch (const std::invalid_argument& error) {
    return HttpReply{400, refusal(error.what())};
  }
  return std::nullopt;
}

std::optional<HttpReply> Console::get(const HttpRequest& request, std::string_view path, std::string_view query) const {
  const auto listing = [&](const RequestLog::Filter& wanted) {
    return own(inspectionPage(log_, readSelection(query), wanted));
  };
  if (const auto* file = pageFile(path)) return own(std::string(file->text), file->type);
  if (path == "/inspect/all") return listing([](const RecordedRequest&) { return true; });
  if (path == "/inspect/good") return listing(isGood);
  if (path == "/inspect/suspicious") return listing(isSuspicious);
  if (path == "/inspect/bad") return listing(isBad);
  if (path == "/inspect/answers") return own(answers_.text());
  if (path == "/inspect/keys") return own(catalogue());
  if (path == "/inspect/request" || path == "/inspect/body") {
    const auto which = readPlace(query);
    const auto found = log_.request(which.sequence);
    if (!found) return HttpReply{404, refusal("this request is not in memory any more; --keep keeps more of them")};
    if (path == "/inspect/body") return own(found->rawBody, "application/octet-stream");
    return own(inspectionOf(*found, which.payload));
  }
  if (path == "/events") {
    auto reply = own({}, "text/event-stream");
    const auto feed = std::make_shared<EventFeed>(log_, answers_, header(request, "Last-Event-ID"));
    reply.more = [feed] { return feed->next(); };
    return reply;
  }
  return std::nullopt;
}

std::optional<HttpReply> Console::post(const HttpRequest& request, std::string_view path) const {
  if (!path.starts_with("/inspect/")) return std::nullopt;
  // A page that somebody else serves has no say in this, in whosever browser it is open.
  if (header(request, "Sec-Fetch-Site") == "cross-site") return HttpReply{403, refusal("not from another site's page")};
  if (path == "/inspect/reset") {
    reset_();
  } else if (path == "/inspect/answers") {
    answers_.set(request.body);
  } else if (path == "/inspect/answers/each") {
    answers_.setEach(request.body);
  } else if (path == "/inspect/answers/once") {
    answers_.queue(request.body);
  } else {
    return std::nullopt;
  }
  return own(std::string(kAcceptedReply));
}

}  // namespace zul::collector
