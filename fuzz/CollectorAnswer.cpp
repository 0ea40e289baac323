// What the collector answers to an upload or a fingerprint request, and what an upload said, on a simulated device.

#include <cstdint>
#include <cstdlib>
#include <string>

#include "Json.h"
#include "NetworkManager.h"
#include "SimulatedPhone.h"
#include "Tracker.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  using namespace zul;
  static auto& phone = *new test::SimulatedPhone;
  static auto& tracker = phone.startUp();
  const std::string text(reinterpret_cast<const char*>(data), size);
  tracker.selfValidation(text);
  if (const auto answer = NetworkManager::getResponseDictionary(text)) {
    tracker.updatePostbackConversionValue(*answer);
    tracker.saveAttributedInfo(*answer);
    tracker.saveDeepLinkWithFingerPrint(*answer);
    tracker.checkToResetDRInfo();
    if (tracker.getAttributedInfo().size() > 6) std::abort();
    if (!json::parseObject(tracker.getSessionData().json())) std::abort();
  }
  phone.sim.log->lines.clear();
  phone.sim.skAdNetwork->calls.clear();
  return 0;
}
