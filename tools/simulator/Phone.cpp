#include "Phone.h"

#include "Answers.h"
#include "Contract.h"
#include "Facade.h"
#include "Runtime.h"

namespace zul::simulator {

namespace {

constexpr double kStart = 1704099600;  // 2024-01-01T09:00:00Z

using collector::Endpoint;

}  // namespace

Phone::Phone() : deployment(sim.platform().deployment), log(sim.log) {
  sim.clock->set(kStart);
  auto& values = sim.device->values;
  values.systemVersion = "17.2";
  values.model = "iPhone14,2";
  values.preferredLanguages = {"en-US"};
  values.countryCode = "US";
  values.screenWidth = 390;
  values.screenHeight = 844;
  values.screenScale = 3;
  values.vendorIdentifier = "11111111-2222-4333-8444-555555555555";
  sim.bundle->info.set("CFBundleIdentifier", kBundleId);
  sim.bundle->info.set("CFBundleShortVersionString", "1.0");
  Dictionary settings;
  settings.set("serviceNumber", 1001);
  settings.set("useMode", 1);
  settings.set("expireDate", 30);
  sim.bundle->info.set("zulAuthorizationKey", settings);
  for (const auto endpoint : {Endpoint::token, Endpoint::upload, Endpoint::errorlog, Endpoint::appstore}) {
    sim.http->setAnswer(std::string(path(endpoint)),
                        {collector::usualBody(endpoint, std::string("bundleId=") + kBundleId)});
  }
}

Phone::~Phone() = default;

Runtime& Phone::process() {
  if (!runtime_) {
    auto platform = sim.platform();
    platform.deployment = deployment;
    platform.log = log;
    runtime_ = std::make_unique<Runtime>(std::move(platform));
    launched_ = false;
  }
  return *runtime_;
}

void Phone::launch(const std::optional<Dictionary>& options, ApplicationState state,
                   const std::function<void()>& deferredCallback) {
  if (launched_) endProcess();
  facade::initialize(process(), {options, Application{state}, deferredCallback});
  launched_ = true;
}

void Phone::endProcess() {
  runtime_.reset();
  launched_ = false;
}

void Phone::reinstall() {
  endProcess();
  sim.store = std::make_shared<platform::SimulatedStore>();
  sim.userDefaults = std::make_shared<platform::SimulatedUserDefaults>();
}

}  // namespace zul::simulator
