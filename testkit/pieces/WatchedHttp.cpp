#include "WatchedHttp.h"

namespace zul::test {

void WatchedHttp::send(platform::HttpRequest request, Completion completion) {
  const bool upload = request.url.ends_with("dataRcv.do");
  ++state_->underWay;
  real_->send(std::move(request), [state = state_, upload, completion = std::move(completion)](auto response) {
    completion(std::move(response));
    if (upload) {
      state->lastUpload = std::chrono::steady_clock::now();
      ++state->uploads;
    }
    --state->underWay;
  });
}

}  // namespace zul::test
