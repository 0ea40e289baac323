#pragma once

#include <cstddef>
#include <functional>
#include <string>
#include <utility>
#include <vector>

struct curl_slist;

namespace zul::bench {

/// Uploads with nothing but libcurl: one thread, a few requests in flight, connections reused from one call
/// to the next. The requests look as the library's do.
class RawCurl {
 public:
  using Headers = std::vector<std::pair<std::string, std::string>>;
  using MakeBody = std::function<std::string()>;  // called for each upload

  RawCurl(std::string url, const Headers& headers, MakeBody makeBody, int inFlight);
  ~RawCurl();
  RawCurl(const RawCurl&) = delete;
  RawCurl& operator=(const RawCurl&) = delete;

  /// Makes `count` uploads. Throws std::runtime_error when one of them fails.
  void upload(int count);

 private:
  struct Upload {
    void* easy = nullptr;
    std::string body{};
    std::size_t sent = 0;
  };
  static std::size_t onRead(char* data, std::size_t size, std::size_t count, void* upload);
  void begin(Upload& upload);
  int collect(int& left);

  const std::string url_;
  const MakeBody makeBody_;
  curl_slist* headers_ = nullptr;
  void* multi_ = nullptr;
  std::vector<Upload> uploads_;
};

}  // namespace zul::bench
