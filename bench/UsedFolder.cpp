#include "UsedFolder.h"

#include <filesystem>

#include "Seed.h"

namespace zul::bench {

namespace {

HostOptions in(const std::string& folder, const std::string& collector, HostOptions options) {
  options.insert({{"data", folder + "/data"}, {"bundle", folder}, {"collector", collector}});
  return options;
}

}  // namespace

UsedFolder::UsedFolder(int queued, const std::string& collector) {
  Seed::writeBundle(folder_.path());
  Seed::writeStore(folder_.path("data"), queued);
  // The first event makes the keychain.
  runHost("commits", in(folder_.path(), queued == 0 ? collector : kNoCollector, {}));
}

Figures UsedFolder::run(const std::string& role, const std::string& collector, HostOptions options, Log log) const {
  const TemporaryFolder copy;
  std::filesystem::copy(folder_.path(), copy.path(), std::filesystem::copy_options::recursive);
  return runHost(role, in(copy.path(), collector, std::move(options)),
                 log == Log::file ? copy.path("log") : "/dev/null");
}

test::Child UsedFolder::start(const std::string& role, const std::string& collector, HostOptions options) const {
  return startHost(role, in(folder_.path(), collector, std::move(options)));
}

}  // namespace zul::bench
