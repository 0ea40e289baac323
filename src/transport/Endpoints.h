#pragma once

#include <string_view>

/// What library and collector have agreed on beside the payload: where each request goes, what it identifies itself
/// with, and the answer that means acceptance. Shared with the development collector.
namespace zul::wire {

struct Endpoint {
  std::string_view method;
  std::string_view path;
  std::string_view authWord;  ///< what the header "authType" holds, encrypted; empty: no identification at all
  bool carriesToken = false;  ///< whether the header "authToken" holds the access token
};

inline constexpr Endpoint kToken = {"GET", "/token/v1/acsTokenRps.do", "TOKEN"};
inline constexpr Endpoint kUpload = {"POST", "/zul/v1/dataRcv.do", "ZUL", true};
inline constexpr Endpoint kErrorLog = {"POST", "/zul/errorRcv.do", "ZUL", true};  // the one path without a version
inline constexpr Endpoint kPushClick = {"POST", "/zul/v1/pushClick.do", "ZUL", true};
inline constexpr Endpoint kFingerprint = {"POST", "/frp/v1/fingerPrintRps.do", "FRP"};
inline constexpr Endpoint kAppStoreLookup = {"GET", "/lookup", ""};  // at a host of its own

inline constexpr std::string_view kAuthKey = "hxQoPvNq4rTeLwbj";  // the cipher key text of "authType"

inline constexpr std::string_view kAuthType = "authType";
inline constexpr std::string_view kAuthToken = "authToken";
inline constexpr std::string_view kUserAgent = "User-Agent";
inline constexpr std::string_view kUserAgentProduct = "ZUL";  // "ZUL/<version>/<model>/<system>"
inline constexpr std::string_view kContentType = "Content-Type";
inline constexpr std::string_view kUploadContentType = "application/octet-stream";

inline constexpr std::string_view kAccepted = "RES001";  // the "code" of an answer that accepts an upload
inline constexpr std::string_view kNull = "(null)";      // an absent value in a query

}  // namespace zul::wire
