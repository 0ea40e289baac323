#include "zul/CustomWKWebViewConfiguration.h"

#include <utility>

#include "Mutex.h"
#include "Runtime.h"

namespace zul {

struct CustomWKWebViewConfiguration::Fields {
  Mutex mutex;
  std::shared_ptr<WebViewConfiguration> customWebViewConfiguration ZUL_GUARDED_BY(mutex);
  std::optional<std::string> clientUserAgent ZUL_GUARDED_BY(mutex);
};

WebViewConfiguration::~WebViewConfiguration() = default;

CustomWKWebViewConfiguration::CustomWKWebViewConfiguration() : fields_(std::make_unique<Fields>()) {}
CustomWKWebViewConfiguration::~CustomWKWebViewConfiguration() = default;

CustomWKWebViewConfiguration& CustomWKWebViewConfiguration::sharedObject() {
  return Runtime::process().webView();
}

void CustomWKWebViewConfiguration::setConfiguration(std::shared_ptr<WebViewConfiguration> configuration) {
  const MutexLock lock(fields_->mutex);
  fields_->customWebViewConfiguration.swap(configuration);  // the host's old one is destroyed after the lock
}

std::shared_ptr<WebViewConfiguration> CustomWKWebViewConfiguration::getConfiguration() const {
  const MutexLock lock(fields_->mutex);
  return fields_->customWebViewConfiguration;
}

void CustomWKWebViewConfiguration::setClientUserAgent(std::optional<std::string> userAgent) {
  const MutexLock lock(fields_->mutex);
  fields_->clientUserAgent = std::move(userAgent);
}

std::optional<std::string> CustomWKWebViewConfiguration::clientUserAgent() const {
  const MutexLock lock(fields_->mutex);
  return fields_->clientUserAgent;
}

}  // namespace zul
