#include "Facade.h"

#include <string>

#include "Runtime.h"
#include "Tracker.h"

namespace zul::facade {

namespace {

constexpr double kFirstLook = 5.0;  // seconds after the call
constexpr double kNextLook = 1.0;   // seconds
constexpr int kLooks = 10;

void start(Runtime& runtime, const Entry& entry) {
  if (entry.application.applicationState != ApplicationState::background) {
    runtime.log().guard([&] { runtime.tracker().initEnd(entry.launchOptions); }, ZUL_HERE);
  } else {
    runtime.log().debug("initEnd pass in Background", ZUL_HERE);
  }
  if (entry.callback) runtime.deferredLinks().setDeferredLinkCallback(entry.callback);
}

Dictionary waitForAttribution(Runtime& runtime) {
  Dictionary attribution;
  for (int index = 0; index < kLooks; ++index) {
    attribution = runtime.tracker().getAttributedInfo();
    if (!attribution.empty()) {
      runtime.log().debug("break index in dealyed getAttributedInfo " + std::to_string(index), ZUL_HERE);
      return attribution;
    }
    runtime.log().debug("index in dealyed getAttributedInfo: " + std::to_string(index), ZUL_HERE);
    runtime.tasks().sleep(kNextLook);
  }
  return attribution;
}

}  // namespace

void initialize(Runtime& runtime, const Entry& entry) {
  runtime.log().debug("initialization start!!", ZUL_HERE);
  start(runtime, entry);
}

void initializeWithWebView(Runtime& runtime, const Entry& entry, std::shared_ptr<WebViewConfiguration> configuration) {
  runtime.log().debug("initializationWithWebViewConfiguration start", ZUL_HERE);
  runtime.webView().setConfiguration(std::move(configuration));
  start(runtime, entry);
}

void getAttributedInfo(Runtime& runtime, std::function<void(const Dictionary&)> callback) {
  const auto tell = [&runtime, callback = std::move(callback)](const Dictionary& attribution) {
    if (callback && !runtime.isStopping()) callback(attribution);
  };
  if (runtime.platform().waitInBackground) {
    runtime.tasks().after(
        kFirstLook, Tasks::Queue::global,
        [&runtime, tell] {
          runtime.tasks().async(
              Tasks::Queue::main, [tell, attribution = waitForAttribution(runtime)] { tell(attribution); }, ZUL_HERE);
        },
        ZUL_HERE);
  } else {
    runtime.tasks().after(
        kFirstLook, Tasks::Queue::main, [&runtime, tell] { tell(waitForAttribution(runtime)); }, ZUL_HERE);
  }
}

}  // namespace zul::facade
