#pragma once

#include <functional>
#include <memory>
#include <optional>
#include <string>

#include "SimulatedDispatcher.h"
#include "SimulatedHttp.h"
#include "zul/platform/WebView.h"

namespace zul::platform {

/// Web views whose pages are the answers that the simulated HTTP client is scripted to give. What else can happen to a
/// page is said here, and holds for all web views from now on.
class SimulatedWebViews final : public WebViews {
 public:
  struct Behaviour {
    bool exist = true;          ///< false: no web view can be made
    bool finish = true;         ///< false: a page is loaded, and that is never told
    bool stayLoading = false;   ///< a page that has finished still counts as loading
    std::string scriptError{};  ///< not empty: scripts fail with it
    double scriptDelay = 0;     ///< seconds until a script gives its result
    std::string textBefore{};   ///< text content of the page before the answer's, as of a banner that a proxy put in
    std::optional<std::string> customUserAgent{};
    std::string userAgent = "Mozilla/5.0 (simulated)";  ///< what "navigator.userAgent" gives
  };

  SimulatedWebViews(std::shared_ptr<SimulatedDispatcher> dispatcher, std::shared_ptr<SimulatedHttp> http)
      : dispatcher_(std::move(dispatcher)), http_(std::move(http)), behaviour_(std::make_shared<Behaviour>()) {}

  std::shared_ptr<WebView> hiddenWebView(const std::shared_ptr<WebViewConfiguration>& configuration) override;
  /// The same, as a host has one.
  std::shared_ptr<WebView> hostWebView() { return hiddenWebView(nullptr); }

  Behaviour& behaviour() { return *behaviour_; }
  /// What the latest hidden web view was given.
  const std::shared_ptr<WebViewConfiguration>& configuration() const { return configuration_; }

 private:
  std::shared_ptr<SimulatedDispatcher> dispatcher_;
  std::shared_ptr<SimulatedHttp> http_;
  std::shared_ptr<Behaviour> behaviour_;
  std::shared_ptr<WebViewConfiguration> configuration_;
};

}  // namespace zul::platform
