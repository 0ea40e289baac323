#pragma once

#include <array>
#include <cstddef>
#include <functional>
#include <memory>
#include <optional>
#include <span>
#include <string>
#include <utility>
#include <vector>

namespace zul::platform {

/// Marks requests that share cookies of their own, apart from the client's, for as long as it lives. The client keeps
/// what is in it.
struct CookieJar {};

/// A body that is made while it is sent. One thread at a time.
class BodySource {
 public:
  virtual ~BodySource() = default;
  /// Fills `buffer` from its start, and returns how many bytes there are now: 0 at the end of the body, none when it
  /// cannot be made, which fails the request. Called on the client's own thread.
  virtual std::optional<std::size_t> read(std::span<char> buffer) = 0;

  /// Whether the whole body is so little that it may as well be made before the server is there to take it: then it
  /// can go out together with the headers.
  virtual bool isSmall() const { return false; }

  /// The rest of the body at once, for clients that want it so; none as above.
  std::optional<std::string> readAll() {
    std::string body;
    std::array<char, 16 * 1024> buffer;
    while (const auto size = read(buffer)) {
      if (*size == 0) return body;
      body.append(buffer.data(), *size);
    }
    return std::nullopt;
  }
};

struct HttpRequest {
  std::string method = "GET";
  std::string url;  ///< absolute, http or https; anything else fails the request
  std::vector<std::pair<std::string, std::string>> headers;
  std::optional<std::string> body;
  /// In the place of `body`: sent without announcing its length, and read once, when the server is there to take it
  /// unless it is small.
  std::shared_ptr<BodySource> bodySource;
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
