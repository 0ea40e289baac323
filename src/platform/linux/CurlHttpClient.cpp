#include "CurlHttpClient.h"

#include <chrono>
#include <utility>

#include "CurlLoop.h"

namespace zul::platform {

namespace {

using namespace std::chrono_literals;

constexpr auto kStopPatience = 300ms;
constexpr auto kReleasePatience = 2s;

}  // namespace

CurlHttpClient::CurlHttpClient() : loop_(std::make_shared<CurlLoop>()) {}

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
