#include "WebKitPage.h"

#include <algorithm>
#include <utility>

namespace zul::platform {

namespace {

constexpr double kLoadSeconds = 60;
constexpr double kMostSeconds = 1e6;

// WebKitGTK can be asked to load a request, but not one with a body. So the web view first stands on an empty page of
// the request's origin. A script there sends the request, with WebKit's own headers and the cookies of that origin,
// follows redirects, and keeps the cookies of the answer. Another origin gets nothing unless its server allows it. The
// answer is then loaded as the page of that address, whose scripts run.
constexpr const char* kFetch = R"(
  const sent = new Headers();
  for (const line of headers.split('\n').slice(0, -1)) {
    const colon = line.indexOf(':');
    sent.append(line.slice(0, colon), line.slice(colon + 1));
  }
  const bytes = body ? new Blob([body]) : undefined;  // for which no Content-Type is made up
  const answer = await fetch(url, {method, headers: sent, body: bytes, credentials: 'include'});
  const text = await answer.text();
  if (text.length > most) throw new Error('answer larger than 8 MiB');
  return {url: answer.url, type: answer.headers.get('content-type') || '', text};
)";

struct FreeText {
  void operator()(char* text) const { g_free(text); }
};

std::string take(char* text) {
  const std::unique_ptr<char, FreeText> owner(text);
  return text != nullptr ? text : "";
}

std::string take(GError* error) {
  std::string message = error->message;
  g_error_free(error);
  return message;
}

std::string member(JSCValue* object, const char* name) {
  const Ref<JSCValue> value(jsc_value_object_get_property(object, name));
  return take(jsc_value_to_string(value.get()));
}

bool isText(const std::string& bytes) {
  return g_utf8_validate(bytes.data(), static_cast<gssize>(bytes.size()), nullptr) != FALSE;
}

GVariant* fetchArguments(const HttpRequest& request) {
  std::string headers;  // texts and numbers are all that a script can be given
  for (const auto& [name, value] : request.headers) headers.append(name).append(":").append(value).append("\n");
  GVariantDict arguments;
  g_variant_dict_init(&arguments, nullptr);
  g_variant_dict_insert(&arguments, "url", "s", request.url.c_str());
  g_variant_dict_insert(&arguments, "method", "s", request.method.c_str());
  g_variant_dict_insert(&arguments, "headers", "s", headers.c_str());
  g_variant_dict_insert(&arguments, "body", "s", request.body.value_or("").c_str());
  g_variant_dict_insert(&arguments, "most", "d", static_cast<double>(HttpClient::kMaxBody));
  return g_variant_dict_end(&arguments);
}

/// What is wrong with `request`; empty when nothing is.
std::string complaint(const HttpRequest& request) {
  const std::string scheme = take(g_uri_parse_scheme(request.url.c_str()));
  if (g_ascii_strcasecmp(scheme.c_str(), "http") != 0 && g_ascii_strcasecmp(scheme.c_str(), "https") != 0) {
    return "not a http or https URL";
  }
  if (!isText(request.url) || !isText(request.method)) return "not a http or https URL";
  if (!isText(request.body.value_or(""))) return "a body that is not UTF-8 text";
  for (const auto& [name, value] : request.headers) {
    const std::string line = name + ":" + value;
    if (!isText(line) || line.find('\n') != line.npos || name.find(':') != name.npos) return "not a header: " + name;
  }
  return {};
}

}  // namespace

WebKitPage::~WebKitPage() {
  stopTimer();
  if (const auto view = this->view()) {
    g_signal_handlers_disconnect_by_data(view.get(), this);
    if (stage_ != Stage::none) webkit_web_view_stop_loading(view.get());
  }
  g_weak_ref_clear(&view_);
}

void WebKitPage::adopt(WebKitWebView* view) {
  g_weak_ref_init(&view_, view);
  if (view == nullptr) return;
  g_signal_connect(view, "load-changed", G_CALLBACK(&WebKitPage::onLoadChanged), this);
  g_signal_connect(view, "load-failed", G_CALLBACK(&WebKitPage::onLoadFailed), this);
  g_signal_connect(view, "web-process-terminated", G_CALLBACK(&WebKitPage::onTerminated), this);
  g_signal_connect(view, "notify::is-loading", G_CALLBACK(&WebKitPage::onIsLoading), this);
  onIsLoading(view, nullptr, this);
}

void WebKitPage::make(WebKitWebContext* context) {
  if (gtk_init_check(nullptr, nullptr) == FALSE) {
    problem_ = "no display for a web view";
    return adopt(nullptr);
  }
  if (context == nullptr) context = webkit_web_context_get_default();
  own_.reset(WEBKIT_WEB_VIEW(g_object_ref_sink(webkit_web_view_new_with_context(context))));
  // Nobody sees a dialog, or could answer it.
  g_signal_connect(own_.get(), "script-dialog", G_CALLBACK(&WebKitPage::onDialog), nullptr);
  g_signal_connect(own_.get(), "authenticate", G_CALLBACK(&WebKitPage::onPassword), nullptr);
  adopt(own_.get());
}

Ref<WebKitWebView> WebKitPage::view() const {
  return Ref<WebKitWebView>(static_cast<WebKitWebView*>(g_weak_ref_get(&view_)));
}

void WebKitPage::enter(Stage stage) {
  stage_ = stage;
  committed_ = false;
}

void WebKitPage::load(HttpRequest request, Ended ended) {
  stopTimer();
  ++loads_;
  request_ = std::move(request);
  ended_ = std::move(ended);
  const auto view = this->view();
  if (view == nullptr) return end(problem_.empty() ? "the web view is gone" : problem_);
  if (const auto problem = complaint(request_); !problem.empty()) return end(problem);

  const double seconds = request_.timeout > 0 ? std::min(request_.timeout, kMostSeconds) : kLoadSeconds;
  timer_ = g_timeout_add(static_cast<guint>(seconds * 1000), &WebKitPage::onTimeout, this);
  loading_ = true;
  enter(Stage::origin);
  webkit_web_view_load_html(view.get(), "<!DOCTYPE html>", request_.url.c_str());
}

void WebKitPage::fetch(WebKitWebView* view) {
  enter(Stage::answer);
  struct Waiting {
    std::weak_ptr<WebKitPage> page;
    unsigned load;
  };
  const auto done = [](GObject* object, GAsyncResult* result, gpointer data) {
    const std::unique_ptr<Waiting> waiting(static_cast<Waiting*>(data));
    GError* error = nullptr;
    auto* const view = WEBKIT_WEB_VIEW(object);
    const Ref<JSCValue> answer(webkit_web_view_call_async_javascript_function_finish(view, result, &error));
    const std::string problem = error != nullptr ? take(error) : "";
    const auto page = waiting->page.lock();
    if (!page || page->loads_ != waiting->load || page->stage_ != Stage::answer) return;
    if (answer == nullptr) return page->end(problem);
    page->fetched(view, answer.get());
  };
  webkit_web_view_call_async_javascript_function(view, kFetch, -1, fetchArguments(request_), nullptr, nullptr, nullptr,
                                                 done, new Waiting{weak_from_this(), loads_});
}

void WebKitPage::fetched(WebKitWebView* view, JSCValue* answer) {
  const std::string text = member(answer, "text");
  std::string type = member(answer, "type");
  type = type.substr(0, type.find(';'));
  if (type.empty()) type = text.starts_with("<") ? "text/html" : "text/plain";
  enter(Stage::page);
  GBytes* const content = g_bytes_new(text.data(), text.size());
  webkit_web_view_load_bytes(view, content, type.c_str(), "UTF-8", member(answer, "url").c_str());
  g_bytes_unref(content);
}

void WebKitPage::end(const std::string& problem) {
  stopTimer();
  enter(Stage::none);
  loading_ = false;
  const auto ended = std::exchange(ended_, nullptr);
  if (ended) ended(problem);
}

void WebKitPage::evaluate(const std::string& script, WebView::ScriptCompletion completion) {
  const auto view = this->view();
  if (view == nullptr) return completion(std::nullopt, problem_.empty() ? "the web view is gone" : problem_);
  const auto done = [](GObject* object, GAsyncResult* result, gpointer data) {
    const std::unique_ptr<WebView::ScriptCompletion> completion(static_cast<WebView::ScriptCompletion*>(data));
    GError* error = nullptr;
    const Ref<JSCValue> value(webkit_web_view_evaluate_javascript_finish(WEBKIT_WEB_VIEW(object), result, &error));
    if (value == nullptr) return (*completion)(std::nullopt, take(error));
    if (jsc_value_is_null(value.get()) || jsc_value_is_undefined(value.get())) {
      return (*completion)(std::nullopt, "the script gave nothing");
    }
    (*completion)(take(jsc_value_to_string(value.get())), "");
  };
  webkit_web_view_evaluate_javascript(view.get(), script.data(), static_cast<gssize>(script.size()), nullptr, nullptr,
                                      nullptr, done, new WebView::ScriptCompletion(std::move(completion)));
}

void WebKitPage::onLoadChanged(WebKitWebView* view, WebKitLoadEvent event, gpointer data) {
  const auto self = static_cast<WebKitPage*>(data)->shared_from_this();
  if (event == WEBKIT_LOAD_COMMITTED) self->committed_ = true;
  // A load that was given up finishes as well, without having been committed since.
  if (event != WEBKIT_LOAD_FINISHED || !self->committed_) return;
  if (self->stage_ == Stage::page) return self->end("");
  if (self->stage_ == Stage::origin) self->fetch(view);
}

gboolean WebKitPage::onLoadFailed(WebKitWebView*, WebKitLoadEvent, const char*, GError* error, gpointer data) {
  const auto self = static_cast<WebKitPage*>(data)->shared_from_this();
  const bool isOurs = self->stage_ == Stage::origin || self->stage_ == Stage::page;
  // So end loads that another took the place of.
  if (!isOurs || g_error_matches(error, WEBKIT_NETWORK_ERROR, WEBKIT_NETWORK_ERROR_CANCELLED)) return FALSE;
  self->end(error->message);
  return TRUE;  // else WebKit would load a page of its own that says so
}

gboolean WebKitPage::onDialog(WebKitWebView*, WebKitScriptDialog*, gpointer) {
  return TRUE;
}

gboolean WebKitPage::onPassword(WebKitWebView*, WebKitAuthenticationRequest* request, gpointer) {
  webkit_authentication_request_cancel(request);
  return TRUE;
}

void WebKitPage::onTerminated(WebKitWebView*, WebKitWebProcessTerminationReason, gpointer data) {
  const auto self = static_cast<WebKitPage*>(data)->shared_from_this();
  if (self->stage_ != Stage::none) self->end("the page's process has ended");
}

void WebKitPage::onIsLoading(WebKitWebView* view, GParamSpec*, gpointer data) {
  auto* const self = static_cast<WebKitPage*>(data);
  self->loading_ = self->stage_ != Stage::none || webkit_web_view_is_loading(view) != FALSE;
}

gboolean WebKitPage::onTimeout(gpointer data) {
  const auto self = static_cast<WebKitPage*>(data)->shared_from_this();
  self->timer_ = 0;
  const auto view = self->view();
  self->end("timed out");
  if (view != nullptr) webkit_web_view_stop_loading(view.get());
  return G_SOURCE_REMOVE;
}

void WebKitPage::stopTimer() {
  if (timer_ != 0) g_source_remove(std::exchange(timer_, 0));
}

}  // namespace zul::platform
