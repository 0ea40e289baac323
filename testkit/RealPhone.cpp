#include "RealPhone.h"

#include <algorithm>
#include <chrono>
#include <filesystem>
#include <stdexcept>
#include <utility>

#include "Events.h"
#include "Facade.h"
#include "HostPlatform.h"
#include "Json.h"
#include "Patience.h"
#include "Runtime.h"
#include "SqliteShell.h"
#include "Tracker.h"

namespace zul::test {

RealPhone::RealPhone(std::string collectorBaseUrl) : collector(std::move(collectorBaseUrl)) {
  haveToken("tk");
}

RealPhone::~RealPhone() = default;

void RealPhone::haveToken(const std::string& token) const {
  writeInfoPlist(folder.path(), token);
}

Tracker& RealPhone::boot(double pace) {
  exit();
  HostPlatform host({.data = store,
                     .bundle = folder.path(),
                     .collector = collector,
                     .lookup = lookup,
                     .caFile = caFile,
                     .later = later,
                     .pace = pace,
                     .log = log});
  runtime_ = std::make_unique<Runtime>(std::move(host.platform));
  return tracker();
}

void RealPhone::initialize() {
  facade::initialize(*runtime_, {std::nullopt, Application{}, {}});
}

Tracker& RealPhone::startUp(double pace) {
  boot(pace);
  initialize();
  if (!eventually([&] { return tracker().getZULInitFlag(); })) throw std::runtime_error("no start: " + log->text());
  return tracker();
}

void RealPhone::exit() {
  runtime_ = nullptr;
}

Tracker& RealPhone::tracker() {
  return runtime_->tracker();
}

void RealPhone::event(const std::string& name) {
  reportEvent(tracker(), name);
}

std::string RealPhone::query(const std::string& sql) const {
  return std::filesystem::exists(database()) ? SqliteShell(database()).run(sql) : "";
}

boost::json::object RealPhone::document(const std::string& id) const {
  return json::parseObject(query("SELECT body FROM documents WHERE id='" + id + "'")).value_or(boost::json::object());
}

std::string RealPhone::queued() const {
  const auto list = json::parse(json::string(document("Json"), "QueueJsonList").value_or("[]"));
  return list && list->is_array() ? eventNames(list->get_array()) : "";
}

bool RealPhone::keeps(const std::string& events) const {
  const auto triedAndOver = [&] {
    const auto text = log->text();
    const bool tried = std::all_of(events.begin(), events.end(), [&](char event) {
      return text.find(std::string("\"event\" : \"") + event + '"') != text.npos;
    });
    return tried && log->count("REQ [SDK") == log->count("[Data Sending Status] : Completed.");
  };
  return eventually([&] { return queued() == events && triedAndOver(); });
}

collector::RequestPtr upload(const collector::DevCollector& collector, const std::string& events) {
  return collector.waitFor(
      [&](const collector::RecordedRequest& request) {
        return request.endpoint == collector::Endpoint::upload && request.good() &&
               eventNames(request.body().as_array()) == events;
      },
      std::chrono::seconds(20));
}

}  // namespace zul::test
