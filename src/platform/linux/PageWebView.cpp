#include "PageWebView.h"

#include <curl/curl.h>
#include <strings.h>

#include <algorithm>
#include <exception>
#include <string_view>
#include <utility>

#include "PageText.h"
#include "zul/ZULSessionVersion.h"

namespace zul::platform {

namespace {

constexpr const char* kUserAgent = "Mozilla/5.0 (Linux) ZULSession/" ZUL_VERSION_STRING;
constexpr double kRequestSeconds = 60;
constexpr int kMaxRedirects = 20;  // as browsers have it

bool isSame(std::string_view name, std::string_view other) {
  return name.size() == other.size() && strncasecmp(name.data(), other.data(), name.size()) == 0;
}

/// Scheme, host and port, as the HTTP client understands them; empty for what is no URL.
std::string origin(const std::string& url) {
  const std::unique_ptr<CURLU, decltype(&curl_url_cleanup)> parts(curl_url(), &curl_url_cleanup);
  if (parts == nullptr || curl_url_set(parts.get(), CURLUPART_URL, url.c_str(), 0) != CURLUE_OK) return {};
  std::string origin;
  for (const CURLUPart part : {CURLUPART_SCHEME, CURLUPART_HOST, CURLUPART_PORT}) {
    char* text = nullptr;
    if (curl_url_get(parts.get(), part, &text, CURLU_DEFAULT_PORT) != CURLUE_OK) return {};
    const std::unique_ptr<char, decltype(&curl_free)> owner(text, &curl_free);
    std::transform(text, text + std::string_view(text).size(), text,
                   [](char c) { return c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c; });
    origin.append(text).append(" ");
  }
  return origin;
}

bool isRedirect(const HttpResponse& response) {
  const int status = response.status;
  return !response.redirectUrl.empty() &&
         (status == 301 || status == 302 || status == 303 || status == 307 || status == 308);
}

/// The host's own affair when it throws: nobody else could do anything about it.
template <typename Callback, typename... Arguments>
void tell(Callback callback, const Arguments&... arguments) noexcept {
  try {
    if (callback) callback(arguments...);
  } catch (...) {
  }
}

class PageWebViews final : public WebViews {
 public:
  PageWebViews(std::shared_ptr<HttpClient> http, std::shared_ptr<Dispatcher> dispatcher)
      : http_(std::move(http)), dispatcher_(std::move(dispatcher)) {}

  std::shared_ptr<WebView> hiddenWebView(const std::shared_ptr<WebViewConfiguration>&) override {
    return std::make_shared<PageWebView>(http_, dispatcher_);
  }

 private:
  const std::shared_ptr<HttpClient> http_;
  const std::shared_ptr<Dispatcher> dispatcher_;
};

}  // namespace

/// What an answer comes to: why there is no page, where it is instead, or its text.
struct PageWebView::Page {
  std::string problem{};
  int status = 0;
  std::string elsewhere{};
  std::string text{};
};

PageWebView::PageWebView(std::shared_ptr<HttpClient> http, std::shared_ptr<Dispatcher> dispatcher)
    : http_(std::move(http)), dispatcher_(std::move(dispatcher)) {}

void PageWebView::setNavigationDelegate(NavigationDelegate delegate) {
  delegate_ = std::move(delegate);
}

void PageWebView::load(HttpRequest request) {
  request_ = std::move(request);
  request_.cookies = true;
  request_.jar = cookies_;
  request_.followRedirects = false;
  if (!(request_.timeout > 0)) request_.timeout = kRequestSeconds;
  const auto isUserAgent = [](const auto& header) { return isSame(header.first, "User-Agent"); };
  if (std::none_of(request_.headers.begin(), request_.headers.end(), isUserAgent)) {
    request_.headers.emplace_back("User-Agent", kUserAgent);
  }
  loading_ = true;
  redirects_ = 0;
  ++loads_;
  send();
}

void PageWebView::send() {
  const auto answer = [weak = weak_from_this(), dispatcher = dispatcher_, load = loads_](HttpResponse response) {
    dispatcher->async(Dispatcher::Queue::global, [weak, dispatcher, load, response = std::move(response)] {
      dispatcher->async(Dispatcher::Queue::main, [weak, load, page = read(response)] {
        if (const auto self = weak.lock(); self && self->loads_ == load) self->answered(page);
      });
    });
  };
  http_->send(request_, answer);
}

PageWebView::Page PageWebView::read(const HttpResponse& response) {
  if (!response.ok()) return {.problem = response.error};
  if (isRedirect(response)) return {.status = response.status, .elsewhere = response.redirectUrl};
  try {
    return {.text = pageText(response.contentType, response.body.value_or(""))};
  } catch (const std::exception& error) {
    return {.problem = error.what()};
  }
}

void PageWebView::answered(const Page& page) {
  if (!page.problem.empty()) return fail(page.problem);
  if (!page.elsewhere.empty()) return redirect(page);
  text_ = page.text;
  loading_ = false;
  tell(delegate_.didFinishNavigation);
}

void PageWebView::redirect(const Page& page) {
  if (++redirects_ > kMaxRedirects) return fail("too many redirects");
  auto& headers = request_.headers;
  const bool repeats = page.status == 307 || page.status == 308;
  if (!repeats && request_.method != "GET" && request_.method != "HEAD" &&
      (page.status == 303 || request_.method == "POST")) {
    request_.method = "GET";
    request_.body.reset();
    std::erase_if(headers, [](const auto& header) { return isSame(header.first, "Content-Type"); });
  }
  // What the request says beside its body, a password perhaps, is for those it was addressed to.
  const std::string target = origin(page.elsewhere);
  if (target.empty() || target != origin(request_.url)) {
    std::erase_if(headers, [](const auto& header) {
      return !isSame(header.first, "User-Agent") && !isSame(header.first, "Content-Type");
    });
  }
  request_.url = page.elsewhere;
  send();
}

void PageWebView::fail(const std::string& problem) {
  loading_ = false;
  tell(delegate_.didFail, problem);
}

void PageWebView::evaluateJavaScript(const std::string& script, ScriptCompletion completion) {
  dispatcher_->async(Dispatcher::Queue::main, [weak = weak_from_this(), script, completion = std::move(completion)] {
    const auto self = weak.lock();
    if (!self) return;
    if (script == "document.body.textContent") {
      tell(completion, self->text_, "");
    } else if (script == "navigator.userAgent") {
      tell(completion, std::string(kUserAgent), "");
    } else {
      tell(completion, std::nullopt, "this web view runs no scripts: " + script);
    }
  });
}

std::shared_ptr<WebViews> pageWebViews(std::shared_ptr<HttpClient> http, std::shared_ptr<Dispatcher> dispatcher) {
  return std::make_shared<PageWebViews>(std::move(http), std::move(dispatcher));
}

}  // namespace zul::platform
