#include "Phone.h"

#include "Answers.h"
#include "Contract.h"

namespace zul::simulator {

namespace {

test::SimulatedPhone::Settings settings() {
  using collector::Endpoint;
  test::SimulatedPhone::Settings settings{.start = 1704099600,  // 2024-01-01T09:00:00Z
                                          .language = "en-US",
                                          .country = "US",
                                          .vendorIdentifier = "11111111-2222-4333-8444-555555555555",
                                          .answers = {}};
  for (const auto endpoint :
       {Endpoint::token, Endpoint::upload, Endpoint::errorlog, Endpoint::appstore, Endpoint::fingerprint}) {
    settings.answers.emplace_back(collector::path(endpoint),
                                  collector::usualBody(endpoint, std::string("bundleId=") + Phone::kBundleId));
  }
  return settings;
}

}  // namespace

Phone::Phone() : SimulatedPhone(settings()) {
  auto& values = sim.device->values;
  values.screenWidth = 390;
  values.screenHeight = 844;
  values.screenScale = 3;
  sim.bundle->info.set("CFBundleIdentifier", kBundleId);
  sim.bundle->info.set("CFBundleShortVersionString", "1.0");
}

}  // namespace zul::simulator
