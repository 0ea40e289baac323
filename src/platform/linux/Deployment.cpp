#include "zul/Deployment.h"

#include <string_view>

namespace zul {

namespace {

std::vector<std::string> split(std::string_view list) {
  std::vector<std::string> items;
  while (!list.empty()) {
    const std::string_view item = list.substr(0, list.find(','));
    if (!item.empty()) items.emplace_back(item);
    list.remove_prefix(item.size() < list.size() ? item.size() + 1 : item.size());
  }
  return items;
}

}  // namespace

Deployment::Deployment()
    : collectorBaseUrl(ZUL_COLLECTOR_BASE_URL),
      trackingHost(ZUL_TRACKING_HOST),
      appStoreLookupHost(ZUL_APP_STORE_LOOKUP_HOST),
      searchAdsBaseUrl(ZUL_SEARCH_ADS_BASE_URL),
      ntpHosts(split(ZUL_NTP_HOSTS)) {}

}  // namespace zul
