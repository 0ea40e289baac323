#pragma once

#include <curl/curl.h>

#include <chrono>
#include <deque>
#include <functional>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <thread>
#include <vector>

#include "CurlTransfer.h"
#include "Mutex.h"
#include "zul/platform/HttpClient.h"

namespace zul::platform {

/// What CurlHttpClient and its thread share; the thread holds it, so that one that is left behind when the process
/// exits never touches freed memory.
///
/// Requests come in through an inbox. Only the thread touches libcurl, which it also initialises, save for the
/// wake-up call that libcurl allows from any thread.
class CurlLoop : public std::enable_shared_from_this<CurlLoop> {
 public:
  using Duration = std::chrono::steady_clock::duration;

  explicit CurlLoop(Duration idle) : idle_(idle) {}

  void send(HttpRequest request, HttpClient::Completion completion);
  HttpResponse fetch(HttpRequest request);

  /// Ends all requests with an error, and waits at most `patience` for the thread to have done so.
  void stop(Duration patience) noexcept;

  /// Stops, and ends the thread.
  void release(Duration patience) noexcept;

 private:
  struct Incoming {
    HttpRequest request;
    HttpClient::Completion completion;
  };

  struct FreeMulti {
    void operator()(CURLM* multi) const { curl_multi_cleanup(multi); }
  };
  struct FreeJar {
    void operator()(CURLSH* jar) const { curl_share_cleanup(jar); }
  };

  using Cookies = std::unique_ptr<CURLSH, FreeJar>;

  struct Jar {
    std::weak_ptr<const CookieJar> owner;
    Cookies cookies;
  };

  /// The requests to one host. We limit them ourselves: libcurl can, but then forgets requests that wait.
  struct Host {
    std::deque<Incoming> waiting;
    std::size_t active = 0;
  };

  struct Active {
    std::unique_ptr<CurlTransfer> transfer;
    Host* host;
  };

  /// What the thread alone uses. The transfers come last, for libcurl wants them gone first.
  struct Work {
    std::unique_ptr<CURLM, FreeMulti> multi;
    Cookies cookies;
    std::vector<Jar> jars;  // of those who want cookies of their own
    std::map<std::string, Host, std::less<>> hosts;
    std::vector<Active> active;
    std::vector<std::unique_ptr<CurlTransfer>> spare;
  };

  bool start(std::string& problem) ZUL_REQUIRES(mutex_);
  void run();
  Work open();
  bool transfer(Work& work);
  void takeIn(Work& work) ZUL_REQUIRES(mutex_);
  void beginWaiting(Work& work);
  void begin(Work& work, Host& host, Incoming incoming);
  static Cookies newCookies();
  static CURLSH* cookiesFor(Work& work, const HttpRequest& request);
  int endIdle(Work& work);
  void complete(Work& work, CURL* handle, CURLcode result);
  void endAll(Work& work);
  bool isOwnThread();

  const Duration idle_;
  Mutex mutex_;
  Condition changed_;  // any of the flags, or the outcome of a fetch
  std::vector<Incoming> inbox_ ZUL_GUARDED_BY(mutex_);
  CURLM* wakeable_ ZUL_GUARDED_BY(mutex_) = nullptr;  // the thread's handle, while it may be woken
  bool started_ ZUL_GUARDED_BY(mutex_) = false;
  bool stopped_ ZUL_GUARDED_BY(mutex_) = false;
  bool released_ ZUL_GUARDED_BY(mutex_) = false;
  bool left_ ZUL_GUARDED_BY(mutex_) = true;   // the thread does not use libcurl any more
  bool ended_ ZUL_GUARDED_BY(mutex_) = true;  // nor anything else
  std::thread::id thread_ ZUL_GUARDED_BY(mutex_);
};

}  // namespace zul::platform
