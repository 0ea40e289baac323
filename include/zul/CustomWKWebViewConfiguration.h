#pragma once

#include <memory>
#include <optional>
#include <string>

#include "zul/Export.h"

namespace zul {

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
  CustomWKWebViewConfiguration();
  ~CustomWKWebViewConfiguration();
  static CustomWKWebViewConfiguration& sharedObject();

  void setConfiguration(std::shared_ptr<WebViewConfiguration> configuration);
  /// Null when none was given.
  std::shared_ptr<WebViewConfiguration> getConfiguration() const;

  void setClientUserAgent(std::optional<std::string> userAgent);
  std::optional<std::string> clientUserAgent() const;

 private:
  struct Fields;
  const std::unique_ptr<Fields> fields_;
};

}  // namespace zul
