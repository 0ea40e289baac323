#include "zul/CustomWKWebViewConfiguration.h"

#include "Runtime.h"

namespace zul {

WebViewConfiguration::~WebViewConfiguration() = default;

CustomWKWebViewConfiguration& CustomWKWebViewConfiguration::sharedObject() {
  return Runtime::process().webView();
}

void CustomWKWebViewConfiguration::setConfiguration(std::shared_ptr<WebViewConfiguration> configuration) {
  const std::lock_guard lock(mutex_);
  customWebViewConfiguration_.swap(configuration);  // the host's old one is destroyed after the lock
}

std::shared_ptr<WebViewConfiguration> CustomWKWebViewConfiguration::getConfiguration() const {
  const std::lock_guard lock(mutex_);
  return customWebViewConfiguration_;
}

void CustomWKWebViewConfiguration::setClientUserAgent(std::optional<std::string> userAgent) {
  const std::lock_guard lock(mutex_);
  clientUserAgent_ = std::move(userAgent);
}

std::optional<std::string> CustomWKWebViewConfiguration::clientUserAgent() const {
  const std::lock_guard lock(mutex_);
  return clientUserAgent_;
}

}  // namespace zul
