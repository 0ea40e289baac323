#include <fmt/format.h>

#include <chrono>

#include "AESCrypt.h"
#include "Benches.h"
#include "Json.h"
#include "Measurements.h"
#include "Mutex.h"
#include "NetworkManager.h"
#include "RawCurl.h"
#include "Seed.h"
#include "UploadBody.h"
#include "UsedFolder.h"
#include "Version.h"
#include "Workbench.h"
#include "zul/Deployment.h"

namespace zul::bench {

namespace {

using SteadyClock = std::chrono::steady_clock;

constexpr int kRounds = 9;
constexpr int kUploads = 300;
constexpr int kInFlight = 4;
constexpr const char* kRawWhat = "libcurl alone with a body of its own for each, one payload an upload";

template <typename Work>
double perSecond(int count, Work work) {
  const auto begin = SteadyClock::now();
  work();
  return count / std::chrono::duration<double>(SteadyClock::now() - begin).count();
}

const Sender kSender{.phone = "Phone 15", .os = "Linux 6", .accessToken = "3f2b8c55e0a94c21b7d6a1f09c4e7d83"};

// The uploads on their way.
class InFlight {
 public:
  // Waits until there is room for another one.
  void begin() {
    const MutexLock lock(mutex_);
    while (open_ >= kInFlight) changed_.wait(mutex_);
    ++open_;
  }
  void end() {
    const MutexLock lock(mutex_);
    --open_;
    changed_.notifyOne();
  }
  void waitForAll() {
    const MutexLock lock(mutex_);
    while (open_ > 0) changed_.wait(mutex_);
  }

 private:
  Mutex mutex_;
  Condition changed_;
  int open_ ZUL_GUARDED_BY(mutex_) = 0;
};

// Uploads one document after the other, a few at a time.
void upload(NetworkManager& network, const std::string& document, int count) {
  InFlight uploads;
  for (int n = 0; n < count; ++n) {
    uploads.begin();
    network.sendDocument(document, kSender, [&](bool, const auto&) { uploads.end(); });
  }
  uploads.waitForAll();
}

}  // namespace

void benchThroughput(const std::string& collector, Table& table) {
  const TemporaryFolder folder;
  Workbench workbench(folder.path());
  const auto& platform = workbench.runtime().platform();
  auto deployment = platform.deployment;
  deployment.collectorBaseUrl = collector;
  NetworkManager network(platform.http, workbench.runtime().tasks(), deployment, workbench.runtime().log(),
                         Dictionary());
  std::string document = "[\n  ";
  json::appendPretty(document, Seed::payloads(1)[0], 1);
  document += "\n]";
  const RawCurl::Headers headers = {
      {"authType", AESCrypt::AES256EncryptWithKey(wire::kUpload.authWord, wire::kAuthKey).value_or("")},
      {"authToken", *kSender.accessToken},
      {"User-Agent", fmt::format("ZUL/{}/{}/{}", kSdkVersion, kSender.phone, kSender.os)},
      {"Content-Type", "application/octet-stream"}};
  RawCurl raw(
      collector + std::string(wire::kUpload.path), headers, [&] { return *uploadBody(document); }, kInFlight);

  const UsedFolder used(0, collector);
  std::vector<double> ours;
  std::vector<double> alone;
  std::vector<double> events;
  for (int round = 0; round < kRounds; ++round) {
    ours.push_back(perSecond(kUploads, [&] { upload(network, document, kUploads); }));
    alone.push_back(perSecond(kUploads, [&] { raw.upload(kUploads); }));
    events.push_back(used.run("deliver", collector, {{"every", "0"}}).at("events")[0]);
  }
  table.add({"uploads", "/s", median(ours), kRawWhat, median(alone), Goal::ratioAtLeast(1)});
  table.add({"events delivered", "/s", median(events), kRawWhat, median(alone), Goal::ratioAtLeast(1)});
}

}  // namespace zul::bench
