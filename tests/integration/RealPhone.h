#pragma once

#include <gtest/gtest.h>

#include <boost/json/array.hpp>
#include <boost/json/object.hpp>
#include <filesystem>
#include <memory>
#include <string>
#include <vector>

#include "DevCollector.h"
#include "Facade.h"
#include "Json.h"
#include "RealPieces.h"
#include "Runtime.h"
#include "SessionController.h"
#include "StoreFolder.h"
#include "TemporaryFolder.h"
#include "Tracker.h"
#include "zul/platform/Dispatcher.h"
#include "zul/platform/HttpClient.h"

namespace zul::test {

/// A device that consists of the real parts and a folder. Only its clock can be set, and its start-up hurries.
class RealPhone {
 public:
  explicit RealPhone(std::string collectorBaseUrl) : collector(std::move(collectorBaseUrl)) { haveToken("tk"); }

  /// The access token in the host's configuration; without one the library asks for it.
  void haveToken(const std::string& token) { writeInfoPlist(folder.path(), token); }

  /// A new process.
  Tracker& boot(double pace = 0.002) {
    runtime = nullptr;
    LinuxOptions options;
    options.applicationId = "com.example.host";
    options.dataFolder = store;
    options.bundleFolder = folder.path();
    auto platform = linuxPlatform(options);
    clock = std::make_shared<ShiftedClock>(platform.clock);
    clock->add(later);
    platform.clock = clock;
    platform.dispatcher = std::make_shared<HurriedDispatcher>(platform.dispatcher, pace);
    platform.log = log;
    platform.deployment.collectorBaseUrl = collector;
    platform.deployment.appStoreLookupHost = lookup.empty() ? collector.substr(collector.find("//") + 2) : lookup;
    platform.deployment.ntpHosts.clear();
    platform.deployment.caFile = caFile;
    runtime = std::make_unique<Runtime>(std::move(platform));
    return runtime->tracker();
  }
  /// A new process that has started up, with its first session, if any, on its way.
  Tracker& launch(double pace = 0.002) {
    boot(pace);
    facade::initialize(*runtime, {std::nullopt, Application{}, {}});
    EXPECT_TRUE(eventually([&] { return runtime->tracker().getZULInitFlag(); })) << log->text();
    return runtime->tracker();
  }
  void exit() { runtime = nullptr; }

  /// Reports an event that can be told from the others.
  void event(const std::string& name) {
    Dictionary pairs;
    pairs.set("event", name);
    runtime->tracker().setTempPairingData(pairs);
    runtime->tracker().sendTransactionByPage();
  }

  /// The value of a query on the database, as somebody else sees it.
  std::string query(const std::string& sql) const {
    return std::filesystem::exists(database()) ? platform::Shell(database()).run(sql.c_str()) : "";
  }
  boost::json::object document(const std::string& id) const {
    return json::parseObject(query("SELECT body FROM documents WHERE id='" + id + "'")).value_or(boost::json::object());
  }
  /// The events that are stored for the next upload, in order; sessions without an event are left out.
  std::string queued() const {
    const auto list = json::parse(json::string(document("Json"), "QueueJsonList").value_or("[]"));
    return list && list->is_array() ? names(list->get_array()) : "";
  }
  std::string journaled() const { return query("SELECT count(*) FROM journal"); }
  /// True as soon as the store holds these events for the next upload, and nothing else.
  bool keeps(const std::string& events) const {
    return eventually([&] { return queued() == events && journaled() == "0"; });
  }
  std::string database() const { return store + "/ZULLocalDB.sqlite"; }

  static std::string names(const boost::json::array& list) {
    std::string names;
    for (const auto& payload : list) names += json::string(payload.at("SESSION").as_object(), "event").value_or("");
    return names;
  }

  TemporaryFolder folder;
  std::string collector, lookup, caFile;
  std::string store = folder.path("store");
  double later = 0;  // seconds that the next process's clock is ahead
  std::shared_ptr<KeptLog> log = std::make_shared<KeptLog>();
  std::shared_ptr<ShiftedClock> clock;
  std::unique_ptr<Runtime> runtime;
};

/// The upload that brings these events, in this order; null when none does in time.
inline collector::RequestPtr upload(const collector::DevCollector& collector, const std::string& events) {
  return collector.waitFor(
      [&](const collector::RecordedRequest& request) {
        return request.endpoint == collector::Endpoint::upload && request.good() &&
               RealPhone::names(request.body.as_array()) == events;
      },
      std::chrono::seconds(20));
}

}  // namespace zul::test
