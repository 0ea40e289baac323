#pragma once

#include <webkit2/webkit2.h>

#include <atomic>
#include <functional>
#include <memory>
#include <string>

#include "GtkLoop.h"
#include "zul/platform/WebView.h"

namespace zul::platform {

/// A WebKitWebView and what is loaded in it. Made, used and destroyed on GTK's thread, but for isLoading().
class WebKitPage : public std::enable_shared_from_this<WebKitPage> {
 public:
  /// Told how a load ended: with a problem, or with none.
  using Ended = std::function<void(const std::string& problem)>;

  WebKitPage() = default;
  ~WebKitPage();
  WebKitPage(const WebKitPage&) = delete;
  WebKitPage& operator=(const WebKitPage&) = delete;

  /// Takes over the host's web view, for as long as that exists.
  void adopt(WebKitWebView* view);
  /// Makes one of its own.
  void make(WebKitWebContext* context);

  void load(HttpRequest request, Ended ended);
  void evaluate(const std::string& script, WebView::ScriptCompletion completion);

  /// Any thread.
  bool isLoading() const { return loading_; }
  void setLoading() { loading_ = true; }

 private:
  /// What a load has come to.
  enum class Stage { none, origin, answer, page };

  Ref<WebKitWebView> view() const;
  void enter(Stage stage);
  void fetch(WebKitWebView* view);
  void fetched(WebKitWebView* view, JSCValue* answer);
  void end(const std::string& problem);

  static void onLoadChanged(WebKitWebView* view, WebKitLoadEvent event, gpointer self);
  static gboolean onLoadFailed(WebKitWebView*, WebKitLoadEvent, const char*, GError* error, gpointer self);
  static void onTerminated(WebKitWebView*, WebKitWebProcessTerminationReason, gpointer self);
  static gboolean onDialog(WebKitWebView*, WebKitScriptDialog*, gpointer);
  static gboolean onPassword(WebKitWebView*, WebKitAuthenticationRequest* request, gpointer);
  static void onIsLoading(WebKitWebView*, GParamSpec*, gpointer self);
  static gboolean onTimeout(gpointer self);
  void stopTimer();

  mutable GWeakRef view_{};
  Ref<WebKitWebView> own_;
  std::string problem_;  // why there is no web view
  Stage stage_ = Stage::none;
  bool committed_ = false;  // the load that the stage is about has begun to show
  unsigned loads_ = 0;
  guint timer_ = 0;
  HttpRequest request_;
  Ended ended_;
  std::atomic<bool> loading_ = false;
};

}  // namespace zul::platform
