#pragma once

#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <utility>
#include <vector>

namespace zul::platform {

/// Marks requests that share cookies of their own, apart from the client's, for as long as it lives. The client keeps
/// what is in it.
struct CookieJar {};

struct HttpRequest {
  std::string method = "GET";
  std::string url;  ///< absolute, http or https; anything else fails the request
  std::vector<std::pair<std::string, std::string>> headers;
  std::optional<std::string> body;
  bool streamBody = false;         ///< send the body without announcing its length
  bool cookies = true;             ///< false: neither send nor keep cookies
  std::shared_ptr<CookieJar> jar;  ///< where the cookies are; null: with those of all requests that name none
  bool followRedirects = true;     ///< false: the answer to a GET may be a redirect, as that to anything else
  std::string caFile;              ///< PEM file of the authority to trust instead of the system's; empty: the system's
  double timeout = 0;              ///< seconds for the whole exchange; 0: the client's own limits
};

/// The outcome of a request. An HTTP error status is an answer like any other.
struct HttpResponse {
  std::string error;  ///< empty unless the transport failed
  int status = 0;     ///< 0 without an answer
  std::optional<std::string> body;
  std::string contentType{};  ///< the Content-Type header
  std::string redirectUrl{};  ///< where a redirect that was not followed leads, absolute

  bool ok() const { return error.empty(); }
};

/// The one HTTP client of the process. Any thread may call it.
class HttpClient {
 public:
  /// The most of an answer's body that is read; a longer answer fails the request.
  static constexpr std::size_t kMaxBody = 8u << 20;

  using Completion = std::function<void(HttpResponse)>;

  virtual ~HttpClient() = default;

  /// Returns at once. `completion` is called exactly once, on the client's own thread, and must only
  /// hand the answer on.
  virtual void send(HttpRequest request, Completion completion) = 0;

  /// Waits for the answer on the calling thread, at most `request.timeout` seconds (60 when 0).
  virtual HttpResponse fetch(HttpRequest request) = 0;

  /// The process exits: open requests end with an error, later ones fail at once.
  virtual void stop() noexcept = 0;
};

}  // namespace zul::platform
