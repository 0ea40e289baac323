#include "CurlLoop.h"

#include <algorithm>
#include <exception>
#include <iterator>
#include <mutex>
#include <string>
#include <string_view>
#include <utility>

#include "LinuxThread.h"

namespace zul::platform {

namespace {

constexpr std::size_t kMaxHostRequests = 6;
constexpr std::size_t kMaxSpare = 16;
constexpr double kFetchSeconds = 60;
constexpr int kPollMilliseconds = 60'000;  // libcurl wakes earlier for its own timers, and we for a request

void initialiseLibraries() {
  static std::once_flag once;
  std::call_once(once, [] { curl_global_init(CURL_GLOBAL_DEFAULT); });
}

/// The part of a URL that tells the host and port.
std::string_view authority(std::string_view url) {
  const auto scheme = url.find("://");
  if (scheme != url.npos) url.remove_prefix(scheme + 3);
  return url.substr(0, url.find_first_of("/?#"));
}

HttpResponse failure(std::string why) {
  HttpResponse response;
  response.error = std::move(why);
  return response;
}

/// Calls `completion` and destroys it. What it throws ends here: nobody else could do anything about it.
void deliver(HttpClient::Completion& completion, HttpResponse response) noexcept {
  try {
    const HttpClient::Completion mine = std::move(completion);
    if (mine) mine(std::move(response));
  } catch (...) {
  }
}

constexpr const char* kStopped = "stopped";

}  // namespace

void CurlLoop::send(HttpRequest request, HttpClient::Completion completion) {
  std::string problem = kStopped;
  {
    const MutexLock lock(mutex_);
    if (!stopped_ && (started_ || start(problem))) {
      inbox_.push_back({std::move(request), std::move(completion)});
      if (inbox_.size() == 1 && wakeable_ != nullptr) curl_multi_wakeup(wakeable_);
      return;
    }
  }
  deliver(completion, failure(std::move(problem)));
}

bool CurlLoop::start(std::string& problem) {
  try {
    startThread("zul-http", [self = shared_from_this()] { self->run(); });
  } catch (const std::exception& error) {
    problem = error.what();
    return false;
  }
  started_ = true;
  left_ = ended_ = false;
  return true;
}

HttpResponse CurlLoop::fetch(HttpRequest request) {
  if (isOwnThread()) return failure("fetch on the client's own thread would wait for itself");
  if (!(request.timeout > 0)) request.timeout = kFetchSeconds;
  const auto patience = std::chrono::duration<double>(std::min(request.timeout, 1e6));
  const auto deadline = std::chrono::steady_clock::now() + std::chrono::duration_cast<Duration>(patience);

  // Guarded by mutex_. Shared with the completion, which comes too late when this has given up.
  const auto answer = std::make_shared<std::optional<HttpResponse>>();
  send(std::move(request), [self = shared_from_this(), answer](HttpResponse response) {
    const MutexLock lock(self->mutex_);
    *answer = std::move(response);
    self->changed_.notifyAll();
  });
  const MutexLock lock(mutex_);
  while (!answer->has_value() && !stopped_ && changed_.waitUntil(mutex_, deadline)) {
  }
  if (answer->has_value()) return std::move(**answer);
  return failure(stopped_ ? kStopped : "timed out");
}

void CurlLoop::stop(Duration patience) noexcept {
  const bool own = isOwnThread();
  const MutexLock lock(mutex_);
  stopped_ = true;
  changed_.notifyAll();
  if (wakeable_ != nullptr) curl_multi_wakeup(wakeable_);
  const auto deadline = std::chrono::steady_clock::now() + patience;
  while (!own && !left_ && changed_.waitUntil(mutex_, deadline)) {
  }
}

void CurlLoop::release(Duration patience) noexcept {
  stop(patience);
  const bool own = isOwnThread();
  const MutexLock lock(mutex_);
  released_ = true;
  changed_.notifyAll();
  const auto deadline = std::chrono::steady_clock::now() + patience;
  while (!own && !ended_ && changed_.waitUntil(mutex_, deadline)) {
  }
}

bool CurlLoop::isOwnThread() {
  const MutexLock lock(mutex_);
  return thread_ == std::this_thread::get_id();
}

void CurlLoop::run() {
  {
    Work work = open();
    while (transfer(work)) {
    }
    endAll(work);

    const MutexLock lock(mutex_);
    left_ = true;
    changed_.notifyAll();
    // Cleaning up is not for a process that exits: its libraries may be gone already.
    while (!released_) changed_.wait(mutex_);
  }
  const MutexLock lock(mutex_);
  ended_ = true;
  changed_.notifyAll();
}

CurlLoop::Work CurlLoop::open() {
  initialiseLibraries();
  Work work;
  work.multi.reset(curl_multi_init());
  work.cookies = newCookies();
  const MutexLock lock(mutex_);
  thread_ = std::this_thread::get_id();
  if (work.multi == nullptr || work.cookies == nullptr) {
    stopped_ = true;
    return work;
  }
  wakeable_ = work.multi.get();
  return work;
}

/// One round: takes in what has come, lets libcurl work, hands out what is done, and waits for more. False when the
/// client has stopped.
bool CurlLoop::transfer(Work& work) {
  {
    const MutexLock lock(mutex_);
    if (stopped_) return false;
    takeIn(work);
  }
  beginWaiting(work);
  int count = 0;
  curl_multi_perform(work.multi.get(), &count);
  bool hasRoom = false;
  while (const CURLMsg* message = curl_multi_info_read(work.multi.get(), &count)) {
    if (message->msg != CURLMSG_DONE) continue;
    complete(work, message->easy_handle, message->data.result);
    hasRoom = true;
  }
  const int patience = endIdle(work);
  if (!hasRoom) curl_multi_poll(work.multi.get(), nullptr, 0, patience, nullptr);
  return true;
}

// What finds no memory now stays where it is, for the next round.
void CurlLoop::takeIn(Work& work) {
  std::size_t taken = 0;
  try {
    for (; taken < inbox_.size(); ++taken) {
      Incoming& incoming = inbox_[taken];
      const std::string_view host = authority(incoming.request.url);
      auto place = work.hosts.find(host);
      if (place == work.hosts.end()) place = work.hosts.emplace(host, Host()).first;
      auto& waiting = place->second.waiting;
      waiting.emplace_back();
      waiting.back() = std::move(incoming);
    }
  } catch (const std::bad_alloc&) {
  }
  inbox_.erase(inbox_.begin(), inbox_.begin() + static_cast<std::ptrdiff_t>(taken));
}

void CurlLoop::beginWaiting(Work& work) {
  for (auto place = work.hosts.begin(); place != work.hosts.end();) {
    Host& host = place->second;
    for (; !host.waiting.empty() && host.active < kMaxHostRequests; host.waiting.pop_front()) {
      begin(work, host, std::move(host.waiting.front()));
    }
    place = host.active == 0 ? work.hosts.erase(place) : std::next(place);
  }
}

void CurlLoop::begin(Work& work, Host& host, Incoming incoming) {
  std::unique_ptr<CurlTransfer> transfer;
  std::string problem;
  try {
    if (work.spare.empty()) work.spare.push_back(std::make_unique<CurlTransfer>());
    transfer = std::move(work.spare.back());
    work.spare.pop_back();
    CURLSH* const cookies = cookiesFor(work, incoming.request);
    problem = transfer->prepare(std::move(incoming.request), cookies);
    work.active.reserve(work.active.size() + 1);
  } catch (const std::exception& error) {
    problem = error.what();
  }
  if (problem.empty()) {
    const CURLMcode result = curl_multi_add_handle(work.multi.get(), transfer->handle());
    if (result != CURLM_OK) problem = curl_multi_strerror(result);
  }
  if (!problem.empty()) {
    deliver(incoming.completion, failure(std::move(problem)));
    return;
  }
  transfer->setCompletion(std::move(incoming.completion));
  work.active.push_back({std::move(transfer), &host});
  ++host.active;
}

CurlLoop::Cookies CurlLoop::newCookies() {
  Cookies cookies(curl_share_init());
  if (cookies != nullptr) curl_share_setopt(cookies.get(), CURLSHOPT_SHARE, CURL_LOCK_DATA_COOKIE);
  return cookies;
}

/// Null for none.
CURLSH* CurlLoop::cookiesFor(Work& work, const HttpRequest& request) {
  if (!request.cookies) return nullptr;
  if (request.jar == nullptr) return work.cookies.get();
  std::erase_if(work.jars, [](const Jar& jar) { return jar.owner.expired(); });
  const auto place =
      std::find_if(work.jars.begin(), work.jars.end(), [&](const Jar& jar) { return jar.owner.lock() == request.jar; });
  if (place != work.jars.end()) return place->cookies.get();
  Cookies cookies = newCookies();
  if (cookies == nullptr) throw std::bad_alloc();
  work.jars.push_back({request.jar, std::move(cookies)});
  return work.jars.back().cookies.get();
}

/// Ends what has not moved a byte for too long. How many milliseconds later to look again.
int CurlLoop::endIdle(Work& work) {
  const auto now = std::chrono::steady_clock::now();
  Duration next = std::chrono::milliseconds(kPollMilliseconds);
  for (std::size_t i = work.active.size(); i-- > 0;) {  // the last takes the place of one that ends
    const Duration left = work.active[i].transfer->idleSince(now) + idle_ - now;
    if (left <= Duration::zero()) {
      complete(work, work.active[i].transfer->handle(), CURLE_OPERATION_TIMEDOUT);
      next = Duration::zero();
    } else {
      next = std::min(next, left);
    }
  }
  return static_cast<int>(std::chrono::ceil<std::chrono::milliseconds>(next).count());
}

void CurlLoop::complete(Work& work, CURL* handle, CURLcode result) {
  curl_multi_remove_handle(work.multi.get(), handle);
  CurlTransfer& transfer = CurlTransfer::of(handle);
  HttpResponse response = transfer.response(result);
  curl_easy_setopt(handle, CURLOPT_SHARE, nullptr);  // a jar that is in use cannot go when its owner does
  HttpClient::Completion completion = transfer.finish();

  const auto place = std::find_if(work.active.begin(), work.active.end(),
                                  [&](const Active& active) { return active.transfer.get() == &transfer; });
  --place->host->active;
  if (work.spare.size() < kMaxSpare) work.spare.push_back(std::move(place->transfer));
  std::swap(*place, work.active.back());
  work.active.pop_back();
  deliver(completion, std::move(response));
}

/// Ends what is open without another call of libcurl.
void CurlLoop::endAll(Work& work) {
  {
    const MutexLock lock(mutex_);
    wakeable_ = nullptr;
    takeIn(work);
  }
  for (const Active& active : work.active) {
    HttpClient::Completion completion = active.transfer->finish();
    deliver(completion, failure(kStopped));
  }
  for (auto& [name, host] : work.hosts) {
    for (Incoming& waiting : host.waiting) deliver(waiting.completion, failure(kStopped));
    host.waiting.clear();
  }
}

}  // namespace zul::platform
