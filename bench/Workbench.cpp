#include "Workbench.h"

#include "Json.h"
#include "Process.h"
#include "Seed.h"
#include "SessionPayload.h"
#include "zul/platform/LogSink.h"

namespace zul::bench {

namespace {

class NoLog final : public platform::LogSink {
 public:
  void write(std::string_view) noexcept override {}
};

}  // namespace

Workbench::Workbench(const std::string& folder) {
  Seed::writeBundle(folder);
  Seed::writeStore(folder, 0);
  LinuxOptions options;
  options.applicationId = "com.example.bench";
  options.bundleFolder = folder;
  options.dataFolder = folder;
  options.keychainFile = folder + "/keychain.sqlite";
  auto platform = linuxPlatform(options);
  platform.log = std::make_shared<NoLog>();
  platform.store = store_ = std::make_shared<test::CountingStore>(platform.store);
  platform.deployment.collectorBaseUrl = kNoCollector;
  runtime_ = std::make_unique<Runtime>(std::move(platform));
}

boost::json::object Workbench::payload() {
  return json::parseObject(sessionPayload(*runtime_->record().sharedInstance(), {})).value();
}

}  // namespace zul::bench
