#include "Roles.h"

#include <zul/Platform.h>
#include <zul/ZULSession.h>

#include <fstream>
#include <memory>
#include <stdexcept>

#include "RawSqlite.h"
#include "SyncCounter.h"

namespace zul::bench {

namespace {

using test::syncsOfThisThread;

double statusValue(std::string_view name) {
  std::ifstream status("/proc/self/status");
  for (std::string line; std::getline(status, line);) {
    if (line.starts_with(name)) return std::stod(line.substr(name.size() + 1));
  }
  throw std::runtime_error("no process status");
}

void reportFootprint(const std::string& prefix) {
  report(prefix + "-memory", {statusValue("VmRSS")});
  report(prefix + "-peak", {statusValue("VmHWM")});
  report(prefix + "-threads", {statusValue("Threads")});
}

}  // namespace

void idle(const Options&) {
  reportFootprint("idle");
}

void startLibrary(const Options& options) {
  const double whole = timed([&] { ZULSession::setPlatform(platformOf(options)); });
  const double entry = timed([] { ZULSession::initialization(std::nullopt, Application{}); });
  report("platform", {whole});
  report("entry", {entry});
  report("syncs", {static_cast<double>(syncsOfThisThread())});
}

void startRaw(const Options& options) {
  std::unique_ptr<RawSqlite> database;
  report("entry", {timed([&] {
           database = std::make_unique<RawSqlite>(at(options, "data") + "/ZULLocalDB.sqlite");
           if (options.contains("stored")) {
             database->read({"AppInfo", "Behavior", "DeeplinkReferrerInfo", "Identify", "Install",
                             "InstallReferrerInfo", "InternalCampaign", "Notification", "UserInfo"});
           } else {
             database->commit({{"Install", R"({"installTime":1700000000000.0})"}});
           }
         })});
}

void footprint(const Options& options) {
  const Host host(options);
  host.settle();
  reportFootprint("start");
  const int before = host.http->uploads();
  ZULSession::sendTransaction();
  host.waitForUpload(before);
  host.settle();
  reportFootprint("upload");
}

void countCommits(const Options& options) {
  const Host host(options);
  host.settle();
  const int uploads = host.http->uploads();
  const int commits = host.store->commits();
  ZULSession::sendTransaction();
  host.waitForUpload(uploads);
  host.settle();
  report("commits", {static_cast<double>(host.store->commits() - commits)});
}

}  // namespace zul::bench
