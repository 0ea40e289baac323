#pragma once

#include <atomic>
#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <string>

#include "Environment.h"
#include "Log.h"
#include "NetworkManager.h"
#include "Tasks.h"
#include "zul/platform/WebView.h"

namespace zul {

class DeepLinks;
class Identifiers;
class InstallReferrers;
class LocalDB;
class SessionRecord;
class WebViewConfiguration;
class ZULUtil;
struct Deployment;

/// Asks the collector whether it recognises this device by a click that it saw, in a hidden web view or through its
/// client, and heeds the answer the same way: on a first run as a claim on the install, later as the link that opened
/// the application.
///
/// Any thread may call it. The web view belongs to the main queue, where its requests begin and end; those of the
/// client end in the background.
class Fingerprint {
 public:
  struct Services {
    Tasks tasks;
    std::shared_ptr<platform::WebViews> webViews;
    const Deployment& deployment;
    LocalDB& db;
    Identifiers& identifiers;
    SessionRecord& record;
    const ZULUtil& util;
    NetworkManager& network;
    DeepLinks& deepLinks;
    InstallReferrers& referrers;
    Log log;
  };

  /// Of whom this is.
  struct Owner {
    std::int64_t serviceNumber = 0;
    std::shared_ptr<WebViewConfiguration> webViewConfiguration;  ///< for the hidden web view; may be null
    /// Tells the collector's error log, and `completion` whether that went through.
    std::function<void(const std::string& text, std::function<void(bool)> completion)> reportError;
    /// The user could mend it.
    std::function<void(const std::string& problem)> tell;
  };

  /// When an answer is asked for.
  struct Moment {
    bool firstExcute = false;  ///< in the first run of an installation
    bool deepLink = false;     ///< after a start by a deep link
  };

  Fingerprint(Services services, Owner owner) : services_(std::move(services)), owner_(std::move(owner)) {}
  Fingerprint(const Fingerprint&) = delete;
  Fingerprint& operator=(const Fingerprint&) = delete;

  /// Asks in the hidden web view. A page that is still being loaded is given up for it.
  void requestInWeb(std::int64_t qzno, Moment moment);
  /// Asks through the client.
  void request(std::int64_t qzno, Moment moment);
  /// Asks through the client what a link left out, and takes the answer over as that link's, whatever its click's time.
  void completeLink(bool firstExcute);

  /// Whether the last exchange came to its end.
  bool requestDone() const { return requestDone_; }
  /// There is nothing to ask.
  void setRequestDone() { requestDone_ = true; }

 private:
  using Text = std::optional<std::string>;

  FingerprintQuery query(std::int64_t qzno, bool firstExcute);
  void load(platform::HttpRequest request, Moment moment);
  platform::WebView* hiddenWebView();
  void pageFinished(Moment moment);
  void takeAnswer(const Text& text, Moment moment);
  void saveInstallReferrerWithFingerPrint(const boost::json::object& answer);

  const Services services_;
  const Owner owner_;
  std::atomic<bool> requestDone_{false};
  std::atomic<bool> toldNoWebView_{false};
  std::shared_ptr<platform::WebView> wkWebView_;  // the main queue's
};

}  // namespace zul
