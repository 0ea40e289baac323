#include "zul/CustomWKWebViewConfiguration.h"

#include <boost/core/demangle.hpp>
#include <exception>
#include <string_view>
#include <typeinfo>
#include <utility>

#include "Log.h"
#include "Mutex.h"
#include "Runtime.h"
#include "Tasks.h"
#include "zul/platform/WebView.h"

namespace zul {

namespace {

bool isBlank(std::string_view text) {
  return text.find_first_not_of(" \t\n\v\f\r") == text.npos;
}

}  // namespace

/// What a script's late result may still find when the rest is gone.
struct CustomWKWebViewConfiguration::Fields {
  Fields(Tasks tasksOfRuntime, Log logOfRuntime) : tasks(std::move(tasksOfRuntime)), log(std::move(logOfRuntime)) {}

  void setClientUserAgent(std::optional<std::string> userAgent) {
    const MutexLock lock(mutex);
    clientUserAgent = std::move(userAgent);
  }
  static void capture(const std::shared_ptr<Fields>& fields, const std::shared_ptr<platform::WebView>& webView);

  const Tasks tasks;
  const Log log;
  Mutex mutex;
  std::shared_ptr<WebViewConfiguration> customWebViewConfiguration ZUL_GUARDED_BY(mutex);
  std::optional<std::string> clientUserAgent ZUL_GUARDED_BY(mutex);
};

WebViewConfiguration::~WebViewConfiguration() = default;

CustomWKWebViewConfiguration::CustomWKWebViewConfiguration(const Tasks& tasks, const Log& log)
    : fields_(std::make_shared<Fields>(tasks, log)) {}
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
  fields_->setClientUserAgent(std::move(userAgent));
}

void CustomWKWebViewConfiguration::setClientUserAgentString(std::shared_ptr<platform::WebView> webView) noexcept {
  if (!webView) return;
  fields_->log.guard(
      [&] {
        fields_->tasks.async(
            Tasks::Queue::main,
            [fields = fields_, webView = std::move(webView)] {
              try {
                Fields::capture(fields, webView);
              } catch (const std::exception& error) {  // name and reason run together in what developers search for
                fields->log.error("Error: " + boost::core::demangle(typeid(error).name()) + error.what(), ZUL_HERE);
              } catch (...) {
                fields->log.error("Error: unknown", ZUL_HERE);
              }
            },
            ZUL_HERE);
      },
      ZUL_HERE);
}

void CustomWKWebViewConfiguration::Fields::capture(const std::shared_ptr<Fields>& fields,
                                                   const std::shared_ptr<platform::WebView>& webView) {
  // Trimmed for the test alone: what is stored keeps its blanks.
  if (auto custom = webView->customUserAgent(); custom && !isBlank(*custom)) {
    return fields->setClientUserAgent(std::move(custom));
  }
  webView->evaluateJavaScript("navigator.userAgent", [weak = std::weak_ptr(fields), webView](auto text, const auto&) {
    if (const auto fields = weak.lock(); fields && text) fields->setClientUserAgent(std::move(text));
  });
}

std::optional<std::string> CustomWKWebViewConfiguration::clientUserAgent() const {
  const MutexLock lock(fields_->mutex);
  return fields_->clientUserAgent;
}

}  // namespace zul
