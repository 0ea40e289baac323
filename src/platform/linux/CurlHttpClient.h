#pragma once

#include <chrono>
#include <memory>

#include "zul/platform/HttpClient.h"

namespace zul::platform {

/// The HTTP client: one thread that runs all requests over libcurl, at most six connections a host, kept for the
/// next request. The thread starts with the first request. Certificates are always verified. Cookies are kept in
/// memory, for as long as the client lives or their jar. Redirects are followed for GET alone.
///
/// A request fails after 60 seconds without a connection, after `idle` without a byte in either direction, or after
/// `HttpRequest::timeout` (by default seven days) in all.
///
/// Any thread may call it. stop() may also be called while the process exits: the thread then stays where it is,
/// touching nothing, until the process is gone. The destructor ends it, waiting at most two seconds.
class CurlHttpClient final : public HttpClient {
 public:
  explicit CurlHttpClient(std::chrono::milliseconds idle = std::chrono::seconds(60));
  ~CurlHttpClient() override;
  CurlHttpClient(const CurlHttpClient&) = delete;
  CurlHttpClient& operator=(const CurlHttpClient&) = delete;

  void send(HttpRequest request, Completion completion) override;
  HttpResponse fetch(HttpRequest request) override;
  void stop() noexcept override;

 private:
  std::shared_ptr<class CurlLoop> loop_;
};

}  // namespace zul::platform
