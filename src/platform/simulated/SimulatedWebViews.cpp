#include "SimulatedWebViews.h"

#include <utility>

namespace zul::platform {

namespace {

class SimulatedWebView final : public WebView, public std::enable_shared_from_this<SimulatedWebView> {
 public:
  SimulatedWebView(std::shared_ptr<SimulatedDispatcher> dispatcher, std::shared_ptr<SimulatedHttp> http,
                   std::shared_ptr<const SimulatedWebViews::Behaviour> behaviour)
      : dispatcher_(std::move(dispatcher)), http_(std::move(http)), behaviour_(std::move(behaviour)) {}

  std::optional<std::string> customUserAgent() override { return behaviour_->customUserAgent; }

  void setNavigationDelegate(NavigationDelegate delegate) override { delegate_ = std::move(delegate); }

  void load(HttpRequest request) override {
    loading_ = true;
    const int number = ++loads_;
    request.headers.emplace_back("User-Agent", behaviour_->customUserAgent.value_or(behaviour_->userAgent));
    http_->send(std::move(request), [weak = weak_from_this(), dispatcher = dispatcher_, number](auto response) {
      dispatcher->async(Dispatcher::Queue::main, [weak, number, response = std::move(response)] {
        if (const auto self = weak.lock(); self && self->loads_ == number) self->loaded(response);
      });
    });
  }

  bool isLoading() override { return loading_ || behaviour_->stayLoading; }

  void evaluateJavaScript(const std::string& script, ScriptCompletion completion) override {
    const auto result = [weak = weak_from_this(), script, completion = std::move(completion)] {
      const auto self = weak.lock();
      if (!self) return;
      if (const auto text = self->result(script)) {
        completion(text, "");
      } else {
        completion(std::nullopt, self->behaviour_->scriptError);
      }
    };
    dispatcher_->after(behaviour_->scriptDelay, Dispatcher::Queue::main, result);
  }

 private:
  void loaded(const HttpResponse& response) {
    loading_ = false;
    if (!response.ok()) {
      if (delegate_.didFail) delegate_.didFail(response.error);
      return;
    }
    text_ = behaviour_->textBefore + response.body.value_or("");
    if (behaviour_->finish && delegate_.didFinishNavigation) delegate_.didFinishNavigation();
  }

  std::optional<std::string> result(const std::string& script) const {
    if (!behaviour_->scriptError.empty()) return std::nullopt;
    return script == "navigator.userAgent" ? behaviour_->customUserAgent.value_or(behaviour_->userAgent) : text_;
  }

  const std::shared_ptr<SimulatedDispatcher> dispatcher_;
  const std::shared_ptr<SimulatedHttp> http_;
  const std::shared_ptr<const SimulatedWebViews::Behaviour> behaviour_;
  NavigationDelegate delegate_;
  std::string text_;
  bool loading_ = false;
  int loads_ = 0;
};

}  // namespace

std::shared_ptr<WebView> SimulatedWebViews::hiddenWebView(const std::shared_ptr<WebViewConfiguration>& configuration) {
  configuration_ = configuration;
  if (!behaviour_->exist) return nullptr;
  return std::make_shared<SimulatedWebView>(dispatcher_, http_, behaviour_);
}

}  // namespace zul::platform
