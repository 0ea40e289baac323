#pragma once

#include <boost/json/fwd.hpp>
#include <cstdint>
#include <functional>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "Endpoints.h"
#include "Log.h"
#include "Tasks.h"
#include "UploadBody.h"
#include "zul/Dictionary.h"
#include "zul/platform/HttpClient.h"

namespace zul {

struct Deployment;

/// Who sends a request, as it stands at the moment of the request.
struct Sender {
  std::string phone;                       ///< the phone's model
  std::string os;                          ///< the system's name and version
  std::optional<std::string> accessToken;  ///< "accessToken" of "AppInfo"
};

/// What a fingerprint request asks with.
struct FingerprintQuery {
  std::int64_t qzno = 0;              ///< service number
  std::optional<std::string> advtId;  ///< the advertising identifier of the keychain
  std::string vendorId;
  bool firstExcute = false;              ///< the first run; only then the click counts
  std::optional<std::string> clickTime;  ///< the text "qzclkTime" of "DeeplinkReferrerInfo"
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

  NetworkManager(std::shared_ptr<platform::HttpClient> sdkUrlSession, Tasks tasks, const Deployment& deployment,
                 Log log, Dictionary zulAuthorizationKey);

  /// The host's service settings; no request uses them.
  const Dictionary& zulAuthorizationKey() const noexcept { return zulAuthorizationKey_; }

  /// The collector's base URL, without a trailing slash.
  const std::string& ZULApiUrl() const noexcept { return ZULApiUrl_; }

  /// Asks for an access token. `package` enters the URL as it stands: one that has no place in a URL
  /// fails the request.
  void requestAccessTokenWithServiceNumber(std::int64_t serviceNumber, std::string_view package, const Sender& sender,
                                           Completion completion);

  /// Uploads a document, percent-encoded and compressed. That work is done while it is sent, by the HTTP client, which
  /// reads the pieces only then, or at once where the document is small; it drops them with the end of the request.
  void sendDocument(TextPieces document, bool isSmall, const Sender& sender, Completion completion);
  void sendDocument(std::string document, const Sender& sender, Completion completion);

  void sendErrorLogWithErrParams(const boost::json::object& params, const Sender& sender, Completion completion);

  /// Reports the click on a push. Reads "profileNo", "pushNo", "pushSk" and "pushToken" of `params`;
  /// a missing one goes out as "(null)", as a missing advertising identifier `adid` does. What has no place in a URL
  /// fails the request.
  void receiveNotificationWithParams(const boost::json::object& params, const std::optional<std::string>& adid,
                                     const Sender& sender, Completion completion);

  /// Asks which ad click this device made. Success also needs an answer that has a body.
  void requestFingerPrintWithQzno(const FingerprintQuery& query, const Sender& sender, Completion completion);

  /// The same question for a web view to ask, at `trackingHost`: without phone and system, which its own headers tell.
  platform::HttpRequest webFingerPrintRequest(const FingerprintQuery& query, const std::string& trackingHost);

  /// Percent-encodes everything but ASCII letters, digits and "-._~"; none when `text` is not UTF-8.
  static std::optional<std::string> changeURLEncoding(std::string_view text);

  /// False for a text with a line break or a NUL, which could forge further headers: a header with it is left out.
  static bool fitsHeader(std::string_view value);

  /// An answer's body as the kind of JSON that the caller expects; none when it is anything else. A byte-order mark
  /// before it does not count.
  static std::optional<boost::json::object> getResponseDictionary(const std::optional<std::string>& body);
  static std::optional<boost::json::array> getResponseArray(const std::optional<std::string>& body);

 private:
  enum class Success { noError, noErrorAndBody };

  const std::optional<std::string>& authType(std::string_view word);
  platform::HttpRequest request(const wire::Endpoint& endpoint, std::string_view query, const Sender& sender);
  void start(Success success, Completion completion, const std::function<platform::HttpRequest()>& make);

  const std::shared_ptr<platform::HttpClient> sdkUrlSession_;
  const Tasks tasks_;
  const std::string ZULApiUrl_;
  const std::string caFile_;
  const Log log_;
  const Dictionary zulAuthorizationKey_;

  struct AuthType {
    std::string_view word;
    std::optional<std::string> header;
  };
  std::once_flag authTypesOnce_;
  std::vector<AuthType> authTypes_;  // constant once made
};

}  // namespace zul
