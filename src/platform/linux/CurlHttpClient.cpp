#include "CurlHttpClient.h"

#include <openssl/crypto.h>

#include <chrono>
#include <utility>

#include "CurlLoop.h"

namespace zul::platform {

namespace {

using namespace std::chrono_literals;

constexpr auto kStopPatience = 300ms;
constexpr auto kReleasePatience = 2s;

}  // namespace

CurlHttpClient::CurlHttpClient(std::chrono::milliseconds idle) : loop_(std::make_shared<CurlLoop>(idle)) {
  // Whoever uses OpenSSL first decides whether it tears itself down at exit, where our thread may still use it. Here
  // rather than with the first request: by then the host may have come first, after we asked to be told of the exit.
  OPENSSL_init_crypto(OPENSSL_INIT_NO_ATEXIT, nullptr);
}

CurlHttpClient::~CurlHttpClient() {
  loop_->release(kReleasePatience);
}

void CurlHttpClient::send(HttpRequest request, Completion completion) {
  loop_->send(std::move(request), std::move(completion));
}

HttpResponse CurlHttpClient::fetch(HttpRequest request) {
  return loop_->fetch(std::move(request));
}

void CurlHttpClient::stop() noexcept {
  loop_->stop(kStopPatience);
}

}  // namespace zul::platform
