#pragma once

#include <memory>
#include <optional>
#include <string>

#include "zul/platform/Dispatcher.h"
#include "zul/platform/HttpClient.h"
#include "zul/platform/WebView.h"

namespace zul::platform {

/// The web view of pageWebViews(). An answer is read on the global queue; all else happens on the main queue, where it
/// may be destroyed at any time, also in what it calls. A load that is given up goes on until it is answered or its
/// time is over, and nobody hears of it.
class PageWebView final : public WebView, public std::enable_shared_from_this<PageWebView> {
 public:
  PageWebView(std::shared_ptr<HttpClient> http, std::shared_ptr<Dispatcher> dispatcher);

  std::optional<std::string> customUserAgent() override { return std::nullopt; }
  void setNavigationDelegate(NavigationDelegate delegate) override;
  void load(HttpRequest request) override;
  bool isLoading() override { return loading_; }
  void evaluateJavaScript(const std::string& script, ScriptCompletion completion) override;

 private:
  struct Page;
  static Page read(const HttpResponse& response);

  void send();
  void answered(const Page& page);
  void redirect(const Page& page);
  void fail(const std::string& problem);

  const std::shared_ptr<HttpClient> http_;
  const std::shared_ptr<Dispatcher> dispatcher_;
  const std::shared_ptr<CookieJar> cookies_ = std::make_shared<CookieJar>();
  NavigationDelegate delegate_;
  HttpRequest request_;  // of the load that is under way
  int loads_ = 0;
  int redirects_ = 0;
  bool loading_ = false;
  std::string text_;
};

}  // namespace zul::platform
