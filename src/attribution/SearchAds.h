#pragma once

#include <atomic>
#include <boost/json/value.hpp>
#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <string>

#include "Log.h"
#include "Tasks.h"

namespace zul {

class ZULUtil;
struct Deployment;
namespace platform {
class AdServices;
class Device;
class HttpClient;
struct HttpResponse;
}  // namespace platform

/// What the platform attributes an install from its search ads to.
struct SearchAdsInfo {
  boost::json::value sarInfo;        ///< the attribution record; null for none
  std::optional<std::string> AAATk;  ///< the token that was sent for it
  std::int64_t AAATktime = 0;        ///< when the answer came, ms since 1970
};

/// Asks the platform which of its search ads led to the install. Any thread may call it; the platform is asked in the
/// background, and its answer comes there.
class SearchAds {
 public:
  struct Sources {
    std::shared_ptr<platform::AdServices> adServices;
    std::shared_ptr<platform::Device> device;
    std::shared_ptr<platform::HttpClient> http;
    const Deployment& deployment;
    const ZULUtil& util;
  };
  using Received = std::function<void(SearchAdsInfo)>;

  /// `received` takes each answer.
  SearchAds(Sources sources, Tasks tasks, Log log, Received received)
      : sources_(std::move(sources)), tasks_(std::move(tasks)), log_(std::move(log)), received_(std::move(received)) {}
  SearchAds(const SearchAds&) = delete;
  SearchAds& operator=(const SearchAds&) = delete;

  /// Asks once, and does not ask again when that fails.
  void requestIadInfo();
  /// The token that the attribution service takes; none on an older system, and where the platform gives none.
  std::optional<std::string> getAppleAttributionToken();
  /// Whether an answer was received.
  bool requestIAdDone() const { return requestIAdDone_; }

 private:
  void ask();
  void askService(const std::string& token);
  void takeAnswer(const std::string& token, const platform::HttpResponse& response);
  void askOlderSystem();

  const Sources sources_;
  const Tasks tasks_;
  const Log log_;
  const Received received_;
  std::atomic<bool> requestIAdDone_{false};
};

}  // namespace zul
