#pragma once

#include <array>
#include <boost/json/fwd.hpp>
#include <cstdint>
#include <functional>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <string_view>

#include "Log.h"
#include "zul/Dictionary.h"
#include "zul/platform/HttpClient.h"

namespace zul {

namespace platform {
class Dispatcher;
}
struct Deployment;

/// What a request says of the device and the installation. The answers come from rooms above this one;
/// each is asked for anew at every request that needs it, on the thread that starts the request.
struct CollectorIdentity {
  std::function<std::optional<std::string>()> accessToken;  ///< "accessToken" of "AppInfo"
  std::function<std::optional<std::string>()> clickTime;    ///< the text "qzclkTime" of "DeeplinkReferrerInfo"
  std::function<std::optional<std::string>()> idfa;         ///< the advertising identifier of the keychain
  std::function<std::string()> phone;                       ///< the phone's model
  std::function<std::string()> os;                          ///< the system's name and version
  std::function<std::string()> uuid;                        ///< "uuid" of "Identify", or a new random one
  std::function<std::string()> vendorId;                    ///< "verdorId" of "Identify", or the platform's
};

/// The one component that talks HTTP to the collector. It makes the five kinds of request, hands the
/// answer back unread, and keeps nothing of a request: nothing is queued, repeated or cancelled.
///
/// Any thread may start a request; the call returns at once and throws nothing. Its completion is called
/// exactly once, on the dispatcher's global queue, also when the request could not even be made or when
/// this object is gone by then. An exception out of a completion is logged and ends there.
class NetworkManager {
 public:
  /// `success` says that the transport had no error; an HTTP error status is a success, too.
  using Completion = std::function<void(bool success, platform::HttpResponse response)>;

  NetworkManager(std::shared_ptr<platform::HttpClient> sdkUrlSession, std::shared_ptr<platform::Dispatcher> dispatcher,
                 const Deployment& deployment, Log log, Dictionary zulAuthorizationKey, CollectorIdentity identity);

  /// The host's service settings; no request uses them.
  const Dictionary& zulAuthorizationKey() const noexcept { return zulAuthorizationKey_; }

  /// The collector's base URL, without a trailing slash.
  const std::string& ZULApiUrl() const noexcept { return ZULApiUrl_; }

  /// Asks for an access token. `package` enters the URL as it stands: one that has no place in a URL
  /// fails the request.
  void requestAccessTokenWithServiceNumber(std::int64_t serviceNumber, std::string_view package, Completion completion);

  /// Uploads `document`, percent-encoded and compressed. That work is done on the calling thread.
  void sendDocument(std::string_view document, Completion completion);

  void sendErrorLogWithErrParams(const boost::json::object& params, Completion completion);

  /// Reports the click on a push. Reads "profileNo", "pushNo", "pushSk" and "pushToken" of `params`;
  /// a missing one goes out as "(null)".
  void receiveNotificationWithParams(const boost::json::object& params, Completion completion);

  /// Asks which ad click this device made. Success also needs an answer that has a body.
  void requestFingerPrintWithQzno(std::int64_t qzno, bool firstExcuteYN, Completion completion);

  /// Percent-encodes everything but ASCII letters, digits and "-._~"; none when `text` is not UTF-8.
  static std::optional<std::string> changeURLEncoding(std::string_view text);

  std::optional<std::string> getIdfa() const { return identity_.idfa(); }
  std::string getUUID() const { return identity_.uuid(); }
  std::string getVendorId() const { return identity_.vendorId(); }

  /// An answer's body as the kind of JSON that the caller expects; none when it is anything else.
  static std::optional<boost::json::object> getResponseDictionary(const std::optional<std::string>& body);
  static std::optional<boost::json::array> getResponseArray(const std::optional<std::string>& body);

 private:
  enum class Auth : std::size_t { token, fingerprint, zul };
  enum class Success { noError, noErrorAndBody };

  const std::optional<std::string>& authType(Auth auth);
  std::string userAgent() const;
  platform::HttpRequest request(std::string method, std::string url, Auth auth, std::string userAgent);
  void start(Success success, Completion completion, const std::function<platform::HttpRequest()>& make);

  const std::shared_ptr<platform::HttpClient> sdkUrlSession_;
  const std::shared_ptr<platform::Dispatcher> dispatcher_;
  const std::string ZULApiUrl_;
  const std::string caFile_;
  const Log log_;
  const Dictionary zulAuthorizationKey_;
  const CollectorIdentity identity_;

  std::once_flag authTypesOnce_;
  std::array<std::optional<std::string>, 3> authTypes_;  // by Auth
};

}  // namespace zul
