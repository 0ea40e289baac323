#include "ZULReachability.h"

#include <string_view>
#include <utility>

#include "zul/Deployment.h"
#include "zul/platform/Reachability.h"

namespace zul {

namespace {

using platform::Reachability;

// "https://[::1]:8443/path" -> "::1"
std::string_view hostOf(std::string_view url) {
  if (const auto scheme = url.find("://"); scheme != url.npos) url.remove_prefix(scheme + 3);
  url = url.substr(0, url.find_first_of("/?#"));
  if (const auto user = url.rfind('@'); user != url.npos) url.remove_prefix(user + 1);
  if (url.starts_with('[')) return url.substr(1, url.find(']') - 1);
  return url.substr(0, url.find(':'));
}

}  // namespace

ZULReachability::ZULReachability(std::shared_ptr<Reachability> reachability, const Deployment& deployment)
    : reachability_(std::move(reachability)), collectorHost_(hostOf(deployment.collectorBaseUrl)) {}

bool ZULReachability::isConnectedToNetwork() const {
  const auto flags = reachability_->flags(collectorHost_);
  constexpr auto kMask = Reachability::kReachable | Reachability::kConnectionRequired;
  return flags && (*flags & kMask) == Reachability::kReachable;
}

ZULReachability::NetworkType ZULReachability::isConnectedToNetworkOfType() const {
  const auto flags = reachability_->flags(collectorHost_).value_or(0);
  switch (flags & (Reachability::kIsWwan | Reachability::kReachable)) {
    case Reachability::kIsWwan | Reachability::kReachable:
      return cellular;
    case Reachability::kReachable:
      return other;
    default:
      return none;
  }
}

}  // namespace zul
