#include "RawCurl.h"

#include <curl/curl.h>

#include <algorithm>
#include <stdexcept>

namespace zul::bench {

namespace {

std::size_t ignore(char*, std::size_t size, std::size_t count, void*) {
  return size * count;
}

}  // namespace

RawCurl::RawCurl(std::string url, const Headers& headers, MakeBody makeBody, int inFlight)
    : url_(std::move(url)), makeBody_(std::move(makeBody)), multi_(curl_multi_init()) {
  for (const auto& [name, value] : headers) headers_ = curl_slist_append(headers_, (name + ": " + value).c_str());
  headers_ = curl_slist_append(headers_, "Expect:");
  uploads_.resize(static_cast<std::size_t>(inFlight));
  for (auto& upload : uploads_) {
    upload.easy = curl_easy_init();
    curl_easy_setopt(upload.easy, CURLOPT_URL, url_.c_str());
    curl_easy_setopt(upload.easy, CURLOPT_UPLOAD, 1L);
    curl_easy_setopt(upload.easy, CURLOPT_CUSTOMREQUEST, "POST");
    curl_easy_setopt(upload.easy, CURLOPT_READFUNCTION, &onRead);
    curl_easy_setopt(upload.easy, CURLOPT_READDATA, &upload);
    curl_easy_setopt(upload.easy, CURLOPT_WRITEFUNCTION, &ignore);
    curl_easy_setopt(upload.easy, CURLOPT_HTTPHEADER, headers_);
    curl_easy_setopt(upload.easy, CURLOPT_PRIVATE, &upload);
    curl_easy_setopt(upload.easy, CURLOPT_NOSIGNAL, 1L);
  }
}

RawCurl::~RawCurl() {
  for (auto& upload : uploads_) {
    curl_multi_remove_handle(multi_, upload.easy);
    curl_easy_cleanup(upload.easy);
  }
  curl_multi_cleanup(multi_);
  curl_slist_free_all(headers_);
}

void RawCurl::upload(int count) {
  int left = count;
  for (auto& upload : uploads_) {
    if (left-- > 0) begin(upload);
  }
  for (int done = 0; done < count;) {
    int running = 0;
    curl_multi_perform(multi_, &running);
    done += collect(left);
    if (done < count) curl_multi_poll(multi_, nullptr, 0, 1000, nullptr);
  }
}

std::size_t RawCurl::onRead(char* data, std::size_t size, std::size_t count, void* upload) {
  auto& self = *static_cast<Upload*>(upload);
  const auto length = self.body.copy(data, size * count, self.sent);
  self.sent += length;
  return length;
}

void RawCurl::begin(Upload& upload) {
  upload.sent = 0;
  upload.body = makeBody_();
  curl_multi_add_handle(multi_, upload.easy);
}

int RawCurl::collect(int& left) {
  int done = 0;
  int queued = 0;
  while (const CURLMsg* const message = curl_multi_info_read(multi_, &queued)) {
    if (message->msg != CURLMSG_DONE) continue;
    auto* const easy = message->easy_handle;
    const auto result = message->data.result;
    long status = 0;
    char* self = nullptr;
    curl_easy_getinfo(easy, CURLINFO_RESPONSE_CODE, &status);
    curl_easy_getinfo(easy, CURLINFO_PRIVATE, &self);
    curl_multi_remove_handle(multi_, easy);
    if (result != CURLE_OK || status != 200) throw std::runtime_error("an upload with libcurl alone failed");
    ++done;
    if (left-- > 0) begin(*reinterpret_cast<Upload*>(self));
  }
  return done;
}

}  // namespace zul::bench
