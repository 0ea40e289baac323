#include <atomic>
#include <utility>

#include "zul/Application.h"
#include "zul/ZULSession.h"
#include "zul/platform/Dispatcher.h"
#include "zul/platform/HttpClient.h"

/// Starts the library, in `folder`. Returns once its threads run.
extern "C" __attribute__((visibility("default"))) void startLibrary(const char* folder) {
  zul::LinuxOptions options;
  options.dataFolder = folder;
  options.keychainFile = options.dataFolder + "/keychain.sqlite";
  options.bundleFolder = folder;
  zul::Platform platform = zul::linuxPlatform(options);
  platform.deployment.ntpHosts.clear();  // whether anybody answers is all the same
  platform.deployment.collectorBaseUrl = "http://127.0.0.1:1";
  platform.deployment.appStoreLookupHost = "127.0.0.1:1";
  const auto dispatcher = platform.dispatcher;
  const auto http = platform.http;
  zul::ZULSession::setPlatform(std::move(platform));
  zul::ZULSession::initialization(std::nullopt, zul::Application{});
  std::atomic<int> running = 0;
  dispatcher->async(zul::platform::Dispatcher::Queue::main, [&] { ++running; });
  dispatcher->async(zul::platform::Dispatcher::Queue::global, [&] { ++running; });
  zul::platform::HttpRequest request;
  request.url = "http://127.0.0.1:1/";
  http->fetch(request);
  while (running < 2) dispatcher->sleep(0.001);
}
