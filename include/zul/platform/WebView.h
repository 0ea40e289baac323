#pragma once

#include <functional>
#include <memory>
#include <optional>
#include <string>

#include "zul/Export.h"
#include "zul/platform/HttpClient.h"

namespace zul {
class WebViewConfiguration;
}

namespace zul::platform {

class Dispatcher;

/// One web view. It belongs to the main queue: everything here is called there, and calls back there.
class WebView {
 public:
  /// What a script gave as text, or why it could not: one of the two.
  using ScriptCompletion = std::function<void(std::optional<std::string> text, const std::string& error)>;

  /// Who is told how loading went. A page that redirects finishes once, with the last one.
  struct NavigationDelegate {
    std::function<void()> didFinishNavigation;
    std::function<void(const std::string& problem)> didFail;
  };

  virtual ~WebView() = default;

  /// The user agent that was set for this web view in the place of its own; none when none was.
  virtual std::optional<std::string> customUserAgent() = 0;

  virtual void setNavigationDelegate(NavigationDelegate delegate) = 0;

  /// Begins to load a page and returns at once; a load that is under way is given up, and its end not told.
  virtual void load(HttpRequest request) = 0;
  virtual bool isLoading() = 0;

  /// Returns at once; `completion` is called exactly once, unless the web view goes before.
  virtual void evaluateJavaScript(const std::string& script, ScriptCompletion completion) = 0;
};

/// Makes web views.
class WebViews {
 public:
  virtual ~WebViews() = default;

  /// A web view of no size, that nobody sees, for the library's own use. Called on the main queue. `configuration` is
  /// the host's, null when it gave none. Null, or an exception that says why, where there can be none.
  virtual std::shared_ptr<WebView> hiddenWebView(const std::shared_ptr<WebViewConfiguration>& configuration) = 0;
};

/// Web views without a browser, which come with the library. They load a page with `http`, with cookies of their own,
/// follow redirects, and know two scripts: "document.body.textContent", which is the text of a HTML page, as it came
/// over the wire, or all of an answer in JSON or other text; and "navigator.userAgent", "Mozilla/5.0 (Linux)
/// ZULSession/<version>", which is also what they send. A request gets 60 seconds unless it says otherwise. They have
/// no use for the host's configuration.
///
/// linuxPlatform() has them on its own HTTP client and dispatcher; a host that replaces one of these makes them anew.
ZUL_EXPORT std::shared_ptr<WebViews> pageWebViews(std::shared_ptr<HttpClient> http,
                                                  std::shared_ptr<Dispatcher> dispatcher);

}  // namespace zul::platform
