#include <memory>
#include <optional>
#include <string>
#include <utility>

#include "GtkLoop.h"
#include "WebKitPage.h"
#include "zul/WebKit.h"
#include "zul/platform/Dispatcher.h"
#include "zul/platform/WebView.h"

namespace zul {

namespace platform {

namespace {

/// The main queue's side of a page: hands everything on to GTK's thread, and what comes of it back.
class WebKitView final : public WebView, public std::enable_shared_from_this<WebKitView> {
 public:
  WebKitView(std::shared_ptr<Dispatcher> dispatcher, std::function<void(WebKitPage&)> open)
      : dispatcher_(std::move(dispatcher)) {
    onGtk([page = page_, open = std::move(open)] { open(*page); });
  }
  ~WebKitView() override {
    onGtk([page = std::move(page_)] {});  // where it has to be destroyed
  }

  std::optional<std::string> customUserAgent() override { return std::nullopt; }

  void setNavigationDelegate(NavigationDelegate delegate) override { delegate_ = std::move(delegate); }

  void load(HttpRequest request) override {
    page_->setLoading();
    const auto ended = [weak = weak_from_this(), dispatcher = dispatcher_,
                        load = ++loads_](const std::string& problem) {
      dispatcher->async(Dispatcher::Queue::main, [weak, load, problem] {
        if (const auto self = weak.lock(); self && self->loads_ == load) self->ended(problem);
      });
    };
    onGtk([page = page_, request = std::move(request), ended] { page->load(request, ended); });
  }

  bool isLoading() override { return page_->isLoading(); }

  void evaluateJavaScript(const std::string& script, ScriptCompletion completion) override {
    const auto done = [weak = weak_from_this(), dispatcher = dispatcher_, completion = std::move(completion)](
                          const std::optional<std::string>& text, const std::string& error) {
      dispatcher->async(Dispatcher::Queue::main, [weak, completion, text, error] {
        if (weak.lock() && completion) completion(text, error);
      });
    };
    onGtk([page = page_, script, done] { page->evaluate(script, done); });
  }

 private:
  void ended(const std::string& problem) {
    const NavigationDelegate delegate = delegate_;  // which may be replaced meanwhile
    if (problem.empty()) {
      if (delegate.didFinishNavigation) delegate.didFinishNavigation();
    } else if (delegate.didFail) {
      delegate.didFail(problem);
    }
  }

  const std::shared_ptr<Dispatcher> dispatcher_;
  std::shared_ptr<WebKitPage> page_ = std::make_shared<WebKitPage>();
  NavigationDelegate delegate_;
  int loads_ = 0;
};

/// Keeps a GObject, and lets it go on GTK's thread.
template <typename Object>
std::shared_ptr<Object> keep(Object* object) {
  if (object == nullptr) return nullptr;
  return {static_cast<Object*>(g_object_ref(object)), [](Object* kept) { onGtk([kept] { g_object_unref(kept); }); }};
}

class WebKitWebViews final : public WebViews {
 public:
  WebKitWebViews(std::shared_ptr<Dispatcher> dispatcher, WebKitWebContext* context)
      : dispatcher_(std::move(dispatcher)), context_(keep(context)) {}

  std::shared_ptr<WebView> hiddenWebView(const std::shared_ptr<WebViewConfiguration>&) override {
    return std::make_shared<WebKitView>(dispatcher_,
                                        [context = context_](WebKitPage& page) { page.make(context.get()); });
  }

 private:
  const std::shared_ptr<Dispatcher> dispatcher_;
  const std::shared_ptr<WebKitWebContext> context_;
};

}  // namespace

}  // namespace platform

std::shared_ptr<platform::WebViews> webKitWebViews(std::shared_ptr<platform::Dispatcher> dispatcher,
                                                   WebKitWebContext* context) {
  return std::make_shared<platform::WebKitWebViews>(std::move(dispatcher), context);
}

std::shared_ptr<platform::WebView> webKitWebView(std::shared_ptr<platform::Dispatcher> dispatcher,
                                                 WebKitWebView* webView) {
  const auto view = platform::keep(webView);  // until it is adopted
  return std::make_shared<platform::WebKitView>(std::move(dispatcher),
                                                [view](platform::WebKitPage& page) { page.adopt(view.get()); });
}

}  // namespace zul
