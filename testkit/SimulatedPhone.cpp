#include "SimulatedPhone.h"

#include <boost/json/parse.hpp>

#include "Events.h"
#include "Facade.h"
#include "Json.h"
#include "Keys.h"
#include "PercentCoding.h"
#include "QZ_GZIP.h"
#include "QueueText.h"
#include "Runtime.h"
#include "Tracker.h"

namespace zul::test {

namespace {

constexpr double kStartUp = 5;  // seconds

}  // namespace

SimulatedPhone::SimulatedPhone() : SimulatedPhone(Settings()) {}

SimulatedPhone::SimulatedPhone(const Settings& settings) : deployment(sim.platform().deployment), log(sim.log) {
  sim.clock->set(settings.start);
  auto& values = sim.device->values;
  values.systemVersion = "17.2";
  values.model = "iPhone14,2";
  values.preferredLanguages = {settings.language};
  values.countryCode = settings.country;
  values.vendorIdentifier = settings.vendorIdentifier;
  configure(R"({"useMode":1,"serviceNumber":1001,"expireDate":30})");
  for (const auto& [piece, body] : settings.answers) sim.http->setAnswer(piece, {body});
}

SimulatedPhone::~SimulatedPhone() = default;

void SimulatedPhone::configure(const std::string& zulAuthorizationKey) const {
  sim.bundle->info.set("zulAuthorizationKey", *Dictionary::fromJson(zulAuthorizationKey));
}

void SimulatedPhone::setTimeServers(std::vector<PlacedTimeServer> servers) {
  constexpr const char* kName = "time.test";
  sim.network->clear();
  std::vector<std::string> addresses;
  for (const auto& placed : servers) {
    const double ahead = sim.clock->now() - sim.dispatcher->now() + placed.ahead;
    const auto server = std::make_shared<TimeServer>(placed.server);
    sim.network->setServer(placed.address, placed.path, [server, ahead, &dispatcher = *sim.dispatcher](auto question) {
      return server->answer(question, dispatcher.now() + ahead);
    });
    addresses.push_back(placed.address);
  }
  if (!addresses.empty()) sim.network->setHost(kName, std::move(addresses));
  deployment.ntpHosts = {kName};
  timeServers_ = std::move(servers);
}

Runtime& SimulatedPhone::process() {
  if (!runtime_) {
    auto platform = sim.platform();
    platform.deployment = deployment;
    platform.log = log;
    if (adapt) adapt(platform);
    runtime_ = std::make_unique<Runtime>(std::move(platform));
    launched_ = false;
  }
  return *runtime_;
}

Tracker& SimulatedPhone::tracker() {
  return process().tracker();
}

Runtime& SimulatedPhone::boot() {
  endProcess();
  return process();
}

void SimulatedPhone::initialize(const std::optional<Dictionary>& options, ApplicationState state,
                                const std::function<void()>& deferredCallback) {
  facade::initialize(process(), {options, Application{state}, deferredCallback});
  launched_ = true;
}

void SimulatedPhone::launch(const std::optional<Dictionary>& options, ApplicationState state,
                            const std::function<void()>& deferredCallback) {
  if (launched_) endProcess();
  initialize(options, state, deferredCallback);
}

Tracker& SimulatedPhone::startUp() {
  boot();
  initialize();
  sim.dispatcher->advance(kStartUp);
  return tracker();
}

void SimulatedPhone::endProcess() {
  runtime_.reset();
  launched_ = false;
}

void SimulatedPhone::reinstall() {
  endProcess();
  sim.store = std::make_shared<platform::SimulatedStore>();
  sim.userDefaults = std::make_shared<platform::SimulatedUserDefaults>();
}

void SimulatedPhone::event(const std::string& name) {
  reportEvent(tracker(), name);
}

boost::json::object SimulatedPhone::documents() const {
  using Table = platform::DocumentStore::Table;
  auto rows = sim.store->loadAll(Table::documents).rows;
  boost::json::object documents;
  for (const auto& row : rows) documents[row.key] = json::parse(row.text).value_or(nullptr);
  if (documents.empty() || documents.contains(keys::queue::kDocument)) return documents;
  std::vector<LocalDB::Payload> payloads;
  for (auto& row : sim.store->loadAll(Table::queue).rows) {
    payloads.push_back(std::make_shared<const std::string>(std::move(row.text)));
  }
  documents[keys::queue::kDocument] = boost::json::object{{keys::queue::kQueueJsonList, queueText(payloads)}};
  return documents;
}

boost::json::object SimulatedPhone::document(const std::string& id) const {
  const auto all = documents();
  const auto* const found = all.if_contains(id);
  return found && found->is_object() ? found->get_object() : boost::json::object();
}

void SimulatedPhone::store(const std::string& id, const std::string& text) const {
  sim.store->put(platform::DocumentStore::Table::documents, id, text);
}

std::size_t SimulatedPhone::queuedRows() const {
  return sim.store->loadAll(platform::DocumentStore::Table::queue).rows.size();
}

std::vector<boost::json::array> SimulatedPhone::uploads() const {
  std::vector<boost::json::array> lists;
  for (const auto& request : sim.http->requests("dataRcv")) {
    const auto encoded = QZ_GZIP().gunzippedData(*request.body);
    lists.push_back(boost::json::parse(*percentDecode(*encoded)).as_array());
  }
  return lists;
}

void SimulatedPhone::refuseUploads(platform::SimulatedHttp::Answer answer) const {
  sim.http->setAnswer("dataRcv", std::move(answer));
}

const boost::json::object& session(const boost::json::value& payload) {
  return payload.as_object().at("SESSION").as_object();
}

}  // namespace zul::test
