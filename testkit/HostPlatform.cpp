#include "HostPlatform.h"

#include <fstream>

#include "HurriedDispatcher.h"

namespace zul::test {

namespace {

LinuxOptions optionsOf(const HostSettings& settings) {
  LinuxOptions options;
  options.applicationId = "com.example.host";
  options.dataFolder = settings.data;
  options.bundleFolder = settings.bundle;
  return options;
}

}  // namespace

HostPlatform::HostPlatform(const HostSettings& settings)
    : platform(linuxPlatform(optionsOf(settings))), clock(std::make_shared<ShiftedClock>(platform.clock)) {
  clock->add(settings.later);
  platform.clock = clock;
  platform.dispatcher = std::make_shared<HurriedDispatcher>(platform.dispatcher, settings.pace);
  if (settings.log) platform.log = settings.log;
  auto& deployment = platform.deployment;
  deployment.collectorBaseUrl = settings.collector;
  deployment.trackingHost = settings.collector;
  deployment.appStoreLookupHost =
      settings.lookup.empty() ? settings.collector.substr(settings.collector.find("//") + 2) : settings.lookup;
  deployment.caFile = settings.caFile;
  deployment.ntpHosts.clear();
}

void writeInfoPlist(const std::string& folder, const std::string& token) {
  std::ofstream(folder + "/Info.plist")
      << R"(<?xml version="1.0" encoding="UTF-8"?><plist version="1.0"><dict>)"
      << "<key>CFBundleIdentifier</key><string>com.example.host</string>"
      << "<key>CFBundleShortVersionString</key><string>2.3</string><key>zulAuthorizationKey</key><dict>"
      << "<key>serviceNumber</key><integer>1001</integer><key>useMode</key><integer>1</integer>"
      << "<key>expireDate</key><integer>30</integer><key>accessToken</key><string>" << token
      << "</string></dict></dict></plist>";
}

}  // namespace zul::test
