#include "SKANManager.h"

#include <boost/json/object.hpp>
#include <optional>

#include "Json.h"
#include "SessionController.h"
#include "SystemVersion.h"
#include "zul/platform/Device.h"
#include "zul/platform/SKAdNetwork.h"

namespace zul {

namespace {

using platform::CoarseConversionValue;

// Exactly these words; all others mean the middle.
CoarseConversionValue coarseValue(const std::string& text) {
  if (text == "high") return CoarseConversionValue::high;
  if (text == "low") return CoarseConversionValue::low;
  return CoarseConversionValue::medium;
}

}  // namespace

void SKANManager::updatePostbackConversionValue(const boost::json::object& answer,
                                                SessionController& sessionController) const {
  log_.info("updatePostbackConversionValue start for SKAN. !", ZUL_HERE);
  const auto version = device_->system().systemVersion;
  const bool hasPostbacks = isAtLeast(version, 16, 1);
  auto coarse = json::string(answer, "coarseValue").value_or("");
  if (coarse.empty()) coarse = "medium";
  const bool lockWindow = json::boolean(answer, "lockWindow");
  // The host's, whose outcome is nobody's business.
  const auto call = [this](const auto& platformCall) { log_.guard([&] { platformCall(*network_); }, ZUL_HERE); };
  const auto postback = [&](std::int64_t value, const char* occasion) {
    call([&](auto& network) { network.updatePostbackConversionValue(value, coarseValue(coarse), lockWindow); });
    log_.info(std::string(occasion) + " for SKAN 4.0. ( updatePostbackConversionValue !! ) " + std::to_string(value) +
                  ", " + coarse + ", " + (lockWindow ? "YES" : "NO"),
              ZUL_HERE);
  };

  if (answer.contains("registerAppForAdNetworkAttribution")) {
    if (hasPostbacks) {
      postback(0, "First launched after install");
    } else {
      call([](auto& network) { network.registerAppForAdNetworkAttribution(); });
      log_.info("First launched after install for SKAN. ( registerAppForAdNetworkAttribution ) !!", ZUL_HERE);
    }
  }

  const auto number = json::number(answer, "updateConversionValue");
  if (!number) return;
  const auto value = json::integer(answer, "updateConversionValue");
  if (hasPostbacks) {
    sessionController.updateSkAdadCurValue(value);
    postback(value, "updateConversionValue");
  } else if (isAtLeast(version, 14)) {
    sessionController.updateSkAdadCurValue(value);
    call([value](auto& network) { network.updateConversionValue(value); });
    log_.system("updateConversionValue for SKAN. ( updateConversionValue : " + std::to_string(value) + " ) !!");
  }
  const bool stored = isAtLeast(version, 14);
  if (stored && !network_->isAvailable()) {
    log_.info("This platform has no SKAdNetwork: the value is stored alone.", ZUL_HERE);
  }
}

}  // namespace zul
