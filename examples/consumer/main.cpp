// Starts the library and prints the session payload, which is empty until the start-up is complete.

#include <zul/Platform.h>
#include <zul/ZULSession.h>

#include <cstdio>
#include <utility>

int main() {
  auto platform = zul::linuxPlatform("com.example.consumer");
  platform.deployment.collectorBaseUrl = "http://127.0.0.1:9";  // one's own collector
  platform.deployment.appStoreLookupHost = "127.0.0.1:9";
  platform.deployment.ntpHosts.clear();
  if (!zul::ZULSession::setPlatform(std::move(platform))) return 1;

  zul::ZULSession::initialization(std::nullopt, zul::Application{});
  std::puts(zul::ZULSession::getSessionData().json().c_str());
}
