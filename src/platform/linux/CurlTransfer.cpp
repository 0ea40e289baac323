#include "CurlTransfer.h"

#include <netinet/in.h>
#include <netinet/tcp.h>
#include <strings.h>
#include <sys/socket.h>

#include <algorithm>
#include <cstdio>
#include <cstring>
#include <new>
#include <utility>

namespace zul::platform {

namespace {

constexpr long kConnectSeconds = 60;
constexpr double kWholeSeconds = 7 * 86400;
constexpr double kMostSeconds = 1e6;  // what fits libcurl's milliseconds everywhere
constexpr long kMaxRedirects = 10;
constexpr const char* kNoBody = "the body could not be made";

bool isWebUrl(std::string_view url) {
  const auto startsWith = [&](std::string_view scheme) {
    return url.size() > scheme.size() && strncasecmp(url.data(), scheme.data(), scheme.size()) == 0;
  };
  const auto isPrintable = [](char c) { return static_cast<unsigned char>(c) > ' ' && c != '\x7f'; };
  return (startsWith("http://") || startsWith("https://")) && std::all_of(url.begin(), url.end(), isPrintable);
}

/// A line feed in a header or method would let its writer add headers of his own, or a request.
bool isOneLine(std::string_view text) {
  return text.find_first_of(std::string_view("\r\n\0", 3)) == text.npos;
}

bool isToken(std::string_view text) {
  return !text.empty() && std::all_of(text.begin(), text.end(), [](char c) {
    return static_cast<unsigned char>(c) > ' ' && c != ':' && static_cast<unsigned char>(c) < 0x7f;
  });
}

/// libcurl counts as sent what the system has taken. On a slow line the system must not take minutes' worth.
int onSocket(void*, curl_socket_t socket, curlsocktype) {
  constexpr int kMostWaiting = 128 * 1024;
  setsockopt(socket, IPPROTO_TCP, TCP_NOTSENT_LOWAT, &kMostWaiting, sizeof kMostWaiting);
  return CURL_SOCKOPT_OK;
}

}  // namespace

CurlTransfer::CurlTransfer() : easy_(curl_easy_init()) {
  if (easy_ == nullptr) throw std::bad_alloc();
}

std::string CurlTransfer::prepare(HttpRequest request, CURLSH* cookies) {
  request_ = std::move(request);
  if (!isWebUrl(request_.url)) return "not a http or https URL";
  if (!isToken(request_.method)) return "not a request method";

  CURL* const easy = easy_.get();
  curl_easy_setopt(easy, CURLOPT_COOKIEFILE, nullptr);  // a reset alone loses its memory
  curl_easy_reset(easy);
  curl_easy_setopt(easy, CURLOPT_PRIVATE, this);
  curl_easy_setopt(easy, CURLOPT_URL, request_.url.c_str());
  curl_easy_setopt(easy, CURLOPT_PROTOCOLS_STR, "http,https");
  curl_easy_setopt(easy, CURLOPT_REDIR_PROTOCOLS_STR, "http,https");
  curl_easy_setopt(easy, CURLOPT_NOSIGNAL, 1L);
  // A transfer that ends does not wait for a name look-up that hangs: the others share its thread.
  curl_easy_setopt(easy, CURLOPT_QUICK_EXIT, 1L);
  curl_easy_setopt(easy, CURLOPT_ERRORBUFFER, error_.data());
  curl_easy_setopt(easy, CURLOPT_WRITEFUNCTION, &onAnswer);
  curl_easy_setopt(easy, CURLOPT_WRITEDATA, this);
  curl_easy_setopt(easy, CURLOPT_MAXFILESIZE_LARGE, static_cast<curl_off_t>(HttpClient::kMaxBody));

  const double seconds = request_.timeout > 0 ? std::min(request_.timeout, kMostSeconds) : kWholeSeconds;
  curl_easy_setopt(easy, CURLOPT_TIMEOUT_MS, std::max(1L, static_cast<long>(seconds * 1000)));
  curl_easy_setopt(easy, CURLOPT_CONNECTTIMEOUT, kConnectSeconds);
  curl_easy_setopt(easy, CURLOPT_SOCKOPTFUNCTION, &onSocket);
  moved_ = {};
  movedAt_ = std::chrono::steady_clock::now();

  if (!request_.caFile.empty()) {
    curl_easy_setopt(easy, CURLOPT_CAINFO, request_.caFile.c_str());
    curl_easy_setopt(easy, CURLOPT_CAPATH, nullptr);  // else the system's authorities are trusted as well
  }

  curl_easy_setopt(easy, CURLOPT_SHARE, cookies);
  if (cookies != nullptr) curl_easy_setopt(easy, CURLOPT_COOKIEFILE, "");

  if (!prepareBody()) return kNoBody;
  return prepareHeaders();
}

bool CurlTransfer::prepareBody() {
  CURL* const easy = easy_.get();
  const bool sends = request_.method == "POST" || request_.method == "PUT" || request_.method == "PATCH";
  small_.reset();
  if (request_.bodySource && request_.bodySource->isSmall()) {
    small_ = request_.bodySource->readAll();
    if (!small_) return false;
    curl_easy_setopt(easy, CURLOPT_POSTFIELDSIZE_LARGE, static_cast<curl_off_t>(small_->size()));
    curl_easy_setopt(easy, CURLOPT_POSTFIELDS, small_->data());
  } else if (request_.bodySource) {
    // libcurl then asks for the body piece by piece, in chunks over HTTP/1.1 and in plain frames over HTTP/2.
    curl_easy_setopt(easy, CURLOPT_UPLOAD, 1L);
    curl_easy_setopt(easy, CURLOPT_READFUNCTION, &onRead);
    curl_easy_setopt(easy, CURLOPT_READDATA, this);
  } else if (request_.body || sends) {
    const std::string_view body = request_.body ? std::string_view(*request_.body) : std::string_view("");
    curl_easy_setopt(easy, CURLOPT_POSTFIELDSIZE_LARGE, static_cast<curl_off_t>(body.size()));
    curl_easy_setopt(easy, CURLOPT_POSTFIELDS, body.data());
  } else if (request_.method == "HEAD") {
    curl_easy_setopt(easy, CURLOPT_NOBODY, 1L);
  } else if (request_.method == "GET" && request_.followRedirects) {
    curl_easy_setopt(easy, CURLOPT_FOLLOWLOCATION, 1L);
    curl_easy_setopt(easy, CURLOPT_MAXREDIRS, kMaxRedirects);
  }
  curl_easy_setopt(easy, CURLOPT_CUSTOMREQUEST, request_.method.c_str());
  if (request_.method != "GET" && request_.method != "HEAD") {
    curl_easy_setopt(easy, CURLOPT_PREREQFUNCTION, &onStart);
    curl_easy_setopt(easy, CURLOPT_PREREQDATA, this);
  }
  return true;
}

std::string CurlTransfer::prepareHeaders() {
  headers_.reset();
  for (const auto& [name, value] : request_.headers) {
    if (!isToken(name) || !isOneLine(value)) return "not a header: " + name;
    addHeader(value.empty() ? name + ";" : name + ": " + value);
  }
  // A name without a value takes away the header that libcurl would add of itself.
  if (!hasHeader("Content-Type")) addHeader("Content-Type:");
  if (!hasHeader("Expect")) addHeader("Expect:");
  if (small_) addHeader("Transfer-Encoding: chunked");  // rather than its length
  curl_easy_setopt(easy_.get(), CURLOPT_HTTPHEADER, headers_.get());
  return {};
}

bool CurlTransfer::hasHeader(std::string_view name) const {
  return std::any_of(request_.headers.begin(), request_.headers.end(), [&](const auto& header) {
    return header.first.size() == name.size() && strncasecmp(header.first.data(), name.data(), name.size()) == 0;
  });
}

void CurlTransfer::addHeader(const std::string& line) {
  curl_slist* const longer = curl_slist_append(headers_.get(), line.c_str());
  if (longer == nullptr) throw std::bad_alloc();
  headers_.release();
  headers_.reset(longer);
}

CurlTransfer& CurlTransfer::of(CURL* handle) {
  char* self = nullptr;
  curl_easy_getinfo(handle, CURLINFO_PRIVATE, &self);
  return *reinterpret_cast<CurlTransfer*>(self);
}

CurlTransfer::Time CurlTransfer::idleSince(Time now) {
  curl_off_t sent = 0;
  curl_off_t received = 0;
  long asked = 0;
  long headers = 0;
  curl_easy_getinfo(easy_.get(), CURLINFO_SIZE_UPLOAD_T, &sent);
  curl_easy_getinfo(easy_.get(), CURLINFO_SIZE_DOWNLOAD_T, &received);
  curl_easy_getinfo(easy_.get(), CURLINFO_REQUEST_SIZE, &asked);
  curl_easy_getinfo(easy_.get(), CURLINFO_HEADER_SIZE, &headers);
  const std::array<curl_off_t, 4> moved = {sent, received, asked, headers};
  if (std::exchange(moved_, moved) != moved) movedAt_ = now;
  return movedAt_;
}

HttpResponse CurlTransfer::response(CURLcode result) {
  HttpResponse response;
  if (tooLarge_ || result == CURLE_FILESIZE_EXCEEDED) {
    response.error = "answer larger than 8 MiB";
  } else if (bodyFailed_) {
    response.error = kNoBody;
  } else if (result == CURLE_ABORTED_BY_CALLBACK || result == CURLE_SEND_FAIL_REWIND) {
    response.error = "connection closed without an answer";
  } else if (result != CURLE_OK) {
    response.error = error_[0] != '\0' ? error_.data() : curl_easy_strerror(result);
  } else {
    long status = 0;
    curl_easy_getinfo(easy_.get(), CURLINFO_RESPONSE_CODE, &status);
    response.status = static_cast<int>(status);
    response.contentType = text(CURLINFO_CONTENT_TYPE);
    response.redirectUrl = text(CURLINFO_REDIRECT_URL);
    response.body = std::move(answer_);
  }
  return response;
}

std::string CurlTransfer::text(CURLINFO info) const {
  const char* text = nullptr;
  curl_easy_getinfo(easy_.get(), info, &text);
  return text != nullptr ? text : "";
}

HttpClient::Completion CurlTransfer::finish() {
  request_ = {};
  small_.reset();
  answer_ = {};
  tooLarge_ = false;
  started_ = false;
  bodyFailed_ = false;
  error_[0] = '\0';
  return std::exchange(completion_, nullptr);
}

std::size_t CurlTransfer::onAnswer(char* data, std::size_t size, std::size_t count, void* self) {
  auto& transfer = *static_cast<CurlTransfer*>(self);
  if (transfer.answer_.size() + size * count > HttpClient::kMaxBody) {
    transfer.tooLarge_ = true;
    return 0;
  }
  try {
    transfer.answer_.append(data, size * count);
  } catch (const std::bad_alloc&) {
    return 0;
  }
  return size * count;
}

std::size_t CurlTransfer::onRead(char* data, std::size_t size, std::size_t count, void* self) {
  auto& transfer = *static_cast<CurlTransfer*>(self);
  std::optional<std::size_t> length;
  try {
    length = transfer.request_.bodySource->read({data, size * count});
  } catch (const std::exception&) {  // short memory, most likely
  }
  transfer.bodyFailed_ = !length;
  return length.value_or(CURL_READFUNC_ABORT);
}

/// libcurl starts over when a connection that it took up again ends without an answer. By then the server may have
/// what it was sent, so what changes something there goes out once.
int CurlTransfer::onStart(void* self, char*, char*, int, int) {
  return std::exchange(static_cast<CurlTransfer*>(self)->started_, true) ? CURL_PREREQFUNC_ABORT : CURL_PREREQFUNC_OK;
}

}  // namespace zul::platform
