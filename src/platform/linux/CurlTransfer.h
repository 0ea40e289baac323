#pragma once

#include <curl/curl.h>

#include <array>
#include <chrono>
#include <memory>
#include <string>
#include <string_view>
#include <utility>

#include "zul/platform/HttpClient.h"

namespace zul::platform {

/// One request at a time on one libcurl handle, used again for the next. Lives on the client's thread alone.
class CurlTransfer {
 public:
  /// Throws std::bad_alloc when libcurl has no handle to give.
  CurlTransfer();
  CurlTransfer(const CurlTransfer&) = delete;
  CurlTransfer& operator=(const CurlTransfer&) = delete;

  /// Prepares the handle. Returns why the request cannot be sent at all; empty when it can. `cookies` is null where
  /// it has none.
  std::string prepare(HttpRequest request, CURLSH* cookies);

  void setCompletion(HttpClient::Completion completion) { completion_ = std::move(completion); }

  CURL* handle() const { return easy_.get(); }

  /// The transfer that `prepare` set `handle` up for.
  static CurlTransfer& of(CURL* handle);

  using Time = std::chrono::steady_clock::time_point;

  /// Since when no byte has moved, in either direction, as far as that is known at `now`. An answer's headers count
  /// by the line.
  Time idleSince(Time now);

  /// What came of the request that libcurl ended with `result`.
  HttpResponse response(CURLcode result);

  /// The completion, to be called once; drops everything else of the request.
  HttpClient::Completion finish();

 private:
  struct Free {
    void operator()(CURL* easy) const { curl_easy_cleanup(easy); }
    void operator()(curl_slist* list) const { curl_slist_free_all(list); }
  };

  std::string prepareHeaders();
  std::string text(CURLINFO info) const;
  bool prepareBody();
  bool hasHeader(std::string_view name) const;
  void addHeader(const std::string& line);

  static std::size_t onAnswer(char* data, std::size_t size, std::size_t count, void* self);
  static std::size_t onRead(char* data, std::size_t size, std::size_t count, void* self);
  static int onStart(void* self, char* ownAddress, char* address, int ownPort, int port);

  std::unique_ptr<curl_slist, Free> headers_;
  HttpRequest request_;
  std::optional<std::string> small_;  // the body of a small source
  HttpClient::Completion completion_;
  std::string answer_;
  bool tooLarge_ = false;
  bool started_ = false;
  bool bodyFailed_ = false;
  std::array<curl_off_t, 4> moved_{};  // bytes of bodies and headers, both ways
  Time movedAt_;
  std::array<char, CURL_ERROR_SIZE> error_{};
  std::unique_ptr<CURL, Free> easy_;  // last, so that it is gone before what it points at
};

}  // namespace zul::platform
