#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "zul/Export.h"

namespace zul {

/// Where the services of one deployment live. The defaults are constants of the build (the CMake
/// options named beside each); a host sets others for staging and tests before its first call.
struct ZUL_EXPORT Deployment {
  Deployment();

  std::string collectorBaseUrl;  ///< ZUL_COLLECTOR_BASE_URL: scheme and host, no trailing slash
  std::string trackingHost;      ///< ZUL_TRACKING_HOST: base URL of the web fingerprint pages; empty: none is asked for
  std::string appStoreLookupHost;  ///< ZUL_APP_STORE_LOOKUP_HOST: host or host:port, asked over plain http
  std::string searchAdsBaseUrl;    ///< ZUL_SEARCH_ADS_BASE_URL; empty: nobody is asked

  /// ZUL_NTP_HOSTS, a semicolon-separated list: the time servers, unless the application's bundle has a resource
  /// "ntp.hosts" that names others. None: no time server is asked.
  std::vector<std::string> ntpHosts;
  std::uint16_t ntpPort = 123;  ///< of the time servers; another one only for tests

  /// PEM file of a private certificate authority to trust instead of the system's. Certificates are
  /// always verified; there is no switch.
  std::string caFile;
};

}  // namespace zul
