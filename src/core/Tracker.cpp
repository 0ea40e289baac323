#include "Tracker.h"

#include "Json.h"
#include "LocalDB.h"
#include "SessionRecord.h"
#include "ZULReachability.h"
#include "zul/CustomWKWebViewConfiguration.h"
#include "zul/platform/Bundle.h"
#include "zul/platform/Device.h"
#include "zul/platform/Dispatcher.h"

namespace zul {

Tracker::Tracker(TrackerServices services)
    : services_(std::move(services)),
      log_(services_.log),
      info_(services_.bundle->infoDictionary()),
      zulAuthorizationKey_(info_.dictionary("zulAuthorizationKey")),
      facebookAppIdCheck_(info_.string("FacebookAppID")),
      useMode_(zulAuthorizationKey_.integer("useMode")),
      sessionController_(services_.db, services_.record, services_.util, log_),
      networkManager_(services_.http, services_.dispatcher, services_.deployment, log_, zulAuthorizationKey_,
                      identity()),
      uploads_(services_.db, networkManager_, services_.dispatcher, log_, uploadOwner()) {
  // Every process starts without a page trace.
  services_.db.update("Behavior", [](MutableDocument& behavior) {
    behavior.setString("", "piTrace");
    behavior.setNumber(std::nullopt, "pageStartTime");
  });
  locked([](Fields& fields) { fields.extras.sarInfo = Object(); });
}

Tracker::~Tracker() = default;

void Tracker::announce() {
  if (const auto configuration = services_.webView.getConfiguration()) {
    log_.debug("There is a custom webview configuration object passed to the sdk. " + configuration->description());
  } else {
    log_.debug(
        "There isn't a custom webview configuration object passed to the sdk. WKWebView of SDK will be initionalizaed "
        "with  '[[WKWebViewConfiguration alloc] init]'");
  }
  if (const auto error = services_.bundle->lastError(); !error.empty()) log_.error("Info.plist: " + error);
}

CollectorIdentity Tracker::identity() {
  auto* const services = &services_;
  const auto advertisingId = [services]() -> std::optional<std::string> {
    return services->record.environment().getAdvertisingId();
  };
  return {
      .accessToken = [services] { return services->db.documentWithID("AppInfo").stringForKey("accessToken"); },
      .clickTime = [services] { return services->db.documentWithID("DeeplinkReferrerInfo").stringForKey("qzclkTime"); },
      .idfa = advertisingId,
      .phone = [services] { return services->record.environment().getPhone(); },
      .os = [services] { return services->record.environment().getOs(); },
      .uuid = [services] { return services->record.getUUID(); },
      .vendorId = [services] { return services->record.getVendorId(); },
  };
}

void Tracker::checkDebugMode(bool dev) {
  services_.db.update("Identify", [&](MutableDocument& identify) { identify.setBoolean(dev, "buildMode"); });
}

Dictionary Tracker::getAttributedInfo() {
  const auto document = services_.db.documentWithID("AttributionInfo");
  const auto& stored = document.valueForKey("attributionInfo");
  return stored.is_object() ? DictionaryAccess::wrap(stored.get_object()) : Dictionary();
}

}  // namespace zul
