#pragma once

#include <memory>
#include <optional>
#include <string>

#include "zul/Export.h"

namespace zul {

namespace platform {
class WebView;
}
class Log;
class Tasks;

/// The configuration that a host's web views are made with. What it holds is the host's business; the
/// library hands it to the hidden web view of its own.
class ZUL_EXPORT WebViewConfiguration {
 public:
  virtual ~WebViewConfiguration();
  /// A short text for the log.
  virtual std::string description() const { return "WebViewConfiguration"; }
};

/// Carries the host's web view configuration and its browser's user-agent text into the library. Any thread
/// may call it.
class ZUL_EXPORT CustomWKWebViewConfiguration {
 public:
  /// The library's own, which makes the one there is.
  CustomWKWebViewConfiguration(const Tasks& tasks, const Log& log);
  ~CustomWKWebViewConfiguration();
  static CustomWKWebViewConfiguration& sharedObject();

  void setConfiguration(std::shared_ptr<WebViewConfiguration> configuration);
  /// Null when none was given.
  std::shared_ptr<WebViewConfiguration> getConfiguration() const;

  /// Has the session payloads carry the user agent of a host's web view: the one that was set for it, unless that is
  /// blank, else what the script "navigator.userAgent" gives, whenever it does. Returns at once; the web view is used
  /// on the main queue, and kept until it has answered. A null one is ignored, and what it throws is logged.
  void setClientUserAgentString(std::shared_ptr<platform::WebView> webView) noexcept;

  void setClientUserAgent(std::optional<std::string> userAgent);
  std::optional<std::string> clientUserAgent() const;

 private:
  struct Fields;
  const std::shared_ptr<Fields> fields_;
};

}  // namespace zul
