#pragma once

#include <gtest/gtest.h>

#include <boost/json/array.hpp>
#include <boost/json/object.hpp>
#include <boost/json/parse.hpp>
#include <memory>
#include <string>
#include <vector>

#include "Facade.h"
#include "Json.h"
#include "PercentCoding.h"
#include "QZ_GZIP.h"
#include "Runtime.h"
#include "SimulatedPlatform.h"
#include "Tracker.h"

namespace zul::test {

/// A simulated device with a library on it, in virtual time. The collector gives a token and accepts
/// everything unless told otherwise.
class Phone {
 public:
  static constexpr double kStart = 1706695200;  // 2024-01-31T10:00:00Z, a Wednesday

  Phone() {
    sim.clock->set(kStart);
    sim.device->values.systemVersion = "17.2";
    sim.device->values.model = "iPhone14,2";
    sim.device->values.preferredLanguages = {"ko-KR"};
    sim.device->values.countryCode = "kr";
    sim.device->values.vendorIdentifier = "11111111-2222-3333-4444-555555555555";
    configure(R"({"useMode":1,"serviceNumber":1001,"expireDate":30})");
    sim.http->answer("acsTokenRps", {R"({"token":"tk-1"})"});
    sim.http->answer("dataRcv", {R"({"code":"RES001"})"});
    sim.http->answer("errorRcv", {R"({"code":"RES001"})"});
    sim.http->answer("/lookup", {R"({"resultCount":1,"results":[{"trackId":42}]})"});
  }

  void configure(const std::string& zulAuthorizationKey) {
    sim.bundle->info.set("zulAuthorizationKey", *Dictionary::fromJson(zulAuthorizationKey));
  }

  /// A new process: everything in memory is gone, the device stays.
  Runtime& boot() {
    runtime = nullptr;
    runtime = std::make_unique<Runtime>(sim.platform());
    return *runtime;
  }

  void initialize(const std::optional<Dictionary>& options = std::nullopt,
                  ApplicationState state = ApplicationState::active, const std::function<void()>& callback = {}) {
    facade::initialize(*runtime, {options, Application{state}, callback});
  }

  /// A process whose start-up has completed.
  Tracker& launch() {
    boot();
    initialize();
    sim.dispatcher->advance(5);
    return tracker();
  }

  Tracker& tracker() { return runtime->tracker(); }

  /// The stored document, as an earlier process left it or as this one sees it on disk.
  boost::json::object document(const std::string& id) {
    const auto rows = sim.store->load(platform::DocumentStore::Table::documents, id).rows;
    return rows.empty() ? boost::json::object() : boost::json::parse(rows.front().text).as_object();
  }
  void store(const std::string& id, const std::string& text) {
    const platform::DocumentStore::Write write{platform::DocumentStore::Table::documents, id, text};
    sim.store->commit({&write, 1});
  }
  std::size_t journaled() { return sim.store->loadAll(platform::DocumentStore::Table::journal).rows.size(); }

  /// The payload lists that were uploaded, decoded.
  std::vector<boost::json::array> uploads() {
    std::vector<boost::json::array> lists;
    for (const auto& request : sim.http->requests("dataRcv")) {
      const auto encoded = QZ_GZIP().gunzippedData(*request.body);
      lists.push_back(boost::json::parse(*percentDecode(*encoded)).as_array());
    }
    return lists;
  }
  void refuseUploads(platform::SimulatedHttp::Answer answer) { sim.http->setAnswer("dataRcv", std::move(answer)); }
  void acceptUploads() { refuseUploads({R"({"code":"RES001"})"}); }

  platform::SimulatedPlatform sim;
  std::unique_ptr<Runtime> runtime;
};

inline const boost::json::object& session(const boost::json::value& payload) {
  return payload.as_object().at("SESSION").as_object();
}

}  // namespace zul::test
