#include "Simulator.h"

#include <fmt/format.h>

#include <algorithm>
#include <utility>

#include "Choices.h"
#include "Contract.h"
#include "CurlHttpClient.h"
#include "DeviceTable.h"
#include "Fields.h"
#include "Json.h"
#include "LinuxClock.h"
#include "LiveClient.h"
#include "Operations.h"
#include "SimulatorLog.h"
#include "Views.h"

namespace zul::simulator {

namespace {

using std::chrono::steady_clock;
using Words = std::vector<std::string_view>;

// Seconds of virtual time that pass at once while it is behind, and what an answer gets for each.
constexpr double kBehind = 0.1;
constexpr auto kBehindWait = std::chrono::milliseconds(100);

constexpr double kLongestWait = 0.1;  // seconds until the time, and whether to go on, is looked at again
constexpr double kIdle = 0.02;        // seconds

/// Sets a flag for as long as it lives.
class UnderWay {
 public:
  explicit UnderWay(bool& flag) : flag_(flag) { flag_ = true; }
  ~UnderWay() { flag_ = false; }
  UnderWay(const UnderWay&) = delete;
  UnderWay& operator=(const UnderWay&) = delete;

 private:
  bool& flag_;
};

template <typename Table>
Words names(const Table& table) {
  Words names;
  for (const auto& entry : table) names.push_back(entry.name);
  return names;
}

Words serviceNames() {
  return names(kServices);
}
Words operationNames() {
  return names(operations());
}
Words networks() {
  return names(kNetworks);
}
Words states() {
  return names(kStates);
}
Words payloadKeys() {
  Words keys;
  for (const auto& field : fields()) keys.push_back(field.payloadKey());
  return keys;
}
Words views() {
  return {"documents", "document",   "keychain",    "payload", "record", "requests",
          "log",       "candidates", "skadnetwork", "clock",   "timers"};
}

}  // namespace

Simulator::Simulator(const SimulatorOptions& options, Show show)
    : print_(std::move(show)),
      interrupted_(options.interrupted),
      log_(std::make_shared<SimulatorLog>(options.printLog)) {
  phone_.log = log_;
  phone_.sim.dispatcher->setPace([this](double, double to) {
    checkInterrupt();
    return to;
  });
  if (!options.recordFile.empty()) {
    record_.open(options.recordFile, std::ios::binary);
    if (!record_) throw CommandError(fmt::format("cannot write {}", options.recordFile));
  }
  phone_.sim.http->onRequest = [this](const platform::HttpRequest& request) { note(request); };
  if (!options.collectorUrl.empty()) goLive(options);
}

void Simulator::note(const platform::HttpRequest& request) {
  const auto& deployment = phone_.deployment;
  if (request.url == deployment.collectorBaseUrl + std::string(path(collector::Endpoint::upload))) {
    lastUpload_ = request;
  }
  if (record_.is_open()) record_ << json::text(requestView(request, deployment)) << std::endl;
}

Simulator::~Simulator() {
  phone_.endProcess();  // before what its callbacks report to
}

// From here on virtual time follows real time.
void Simulator::goLive(const SimulatorOptions& options) {
  auto& baseUrl = phone_.deployment.collectorBaseUrl;
  baseUrl = options.collectorUrl;
  while (baseUrl.ends_with('/')) baseUrl.pop_back();
  phone_.deployment.trackingHost = baseUrl;
  phone_.deployment.caFile = options.caFile;
  // The app-store look-up goes there, too, where it can: it is made without TLS. Else it is simulated.
  constexpr std::string_view kHttp = "http://";
  if (baseUrl.starts_with(kHttp)) phone_.deployment.appStoreLookupHost = baseUrl.substr(kHttp.size());
  live_ = std::make_shared<LiveClient>(std::make_shared<platform::CurlHttpClient>());
  phone_.sim.http->setUpstream(live_, baseUrl);
  phone_.sim.clock->set(platform::LinuxClock().now());
  phone_.sim.dispatcher->setPace([this](double from, double to) { return pass(from, to); });
}

void Simulator::checkInterrupt() const {
  if (commanded_ && interrupted_ && interrupted_()) throw CommandError("interrupted");
}

// The pace of a real collector.
double Simulator::pass(double from, double to) {
  checkInterrupt();
  if (live_->open() > 0 && sinceStart() > from + kBehind) {
    // Time has to be made up for, but must not overtake the answers: they get as much of it as all else.
    to = std::min(to, from + kBehind);
    return live_->deliver(steady_clock::now() + kBehindWait) ? from : to;
  }
  const std::chrono::duration<double> left(std::clamp(to - sinceStart(), 0.0, kLongestWait));
  live_->deliver(steady_clock::now() + std::chrono::duration_cast<steady_clock::duration>(left));
  return std::clamp(sinceStart(), from, to);
}

double Simulator::sinceStart() const {
  return std::chrono::duration<double>(steady_clock::now() - start_).count();
}

// What fell due while nobody gave a command.
void Simulator::catchUp() {
  auto& dispatcher = *phone_.sim.dispatcher;
  if (live_) dispatcher.advance(sinceStart() - dispatcher.now());
}

std::function<void()> Simulator::idle() {
  if (!live_) return nullptr;
  return [this] {
    catchUp();
    phone_.sim.dispatcher->advance(kIdle);
  };
}

void Simulator::run(std::string_view line) {
  catchUp();
  Arguments arguments(line);
  shown_.reset();
  absent_ = false;
  if (!arguments.empty()) {
    const auto name = arguments.word("a command");
    const auto command =
        std::find_if(commands().begin(), commands().end(), [&](const Command& known) { return known.name == name; });
    if (command == commands().end()) throw CommandError("there is no such command; help tells which there are");
    const UnderWay underWay(commanded_);
    (this->*command->run)(arguments);
  }
  if (!shown_ && !reports_.empty()) shown_ = std::exchange(reports_, {});
  if (!shown_) return;
  print_(*shown_);
  last_ = std::move(shown_);
  lastAbsent_ = absent_;
}

void Simulator::finish() {
  run("");
}

const std::vector<Simulator::Command>& Simulator::commands() {
  using S = Simulator;
  static const std::vector<Command> all = {
      {"device", "{...}", "sets values of the device; help device lists them", &S::device, nullptr},
      {"config", "{...}", "the application's service settings, the dictionary \"zulAuthorizationKey\"", &S::config,
       nullptr},
      {"info", "{...}", "other entries of the Info.plist; null removes one", &S::info, nullptr},
      {"resource", "NAME \"TEXT\"|{...}", "a file of the application's bundle, or a property list without its suffix",
       &S::resource, nullptr},
      {"clock", "2024-01-31T10:00:00 [ZONE] | += 90s | -= 90s",
       "sets the wall clock and the time zone, or moves the clock without time passing", &S::clock, nullptr},
      {"network", "wifi|cellular|offline", "how the network is reached, and whether requests get through", &S::network,
       networks},
      {"collector", "ENDPOINT {...}",
       "queues an answer: its body, or \"raw\" text, \"status\", \"delay\", \"fail\"; the last one repeats",
       &S::collector, serviceNames},
      {"ntp", "{...} | [{...}, ...] | none", "the time servers that there are from now on; help ntp lists their values",
       &S::ntp, nullptr},
      {"webview", "{...}", "what happens to pages in web views from now on; help webview lists it", &S::webview,
       nullptr},
      {"searchads", "{...}",
       "what the platform knows of its search ads: \"token\", or \"details\" where the system is older than 14.3; null "
       "for none",
       &S::searchads, nullptr},
      {"launch", "[{launch options}] [background] [callback]",
       "starts the application and initializes the library; callback tells when the deferred callback is called",
       &S::launch, nullptr},
      {"call", "OPERATION [ARGUMENT...]", "calls the library; help call lists the operations", &S::call,
       operationNames},
      {"state", "active|inactive|background|foreground|significantTimeChange", "the application's life cycle",
       &S::state, states},
      {"advance", "6s", "lets time pass: ms, s, m, h or d", &S::advance, nullptr},
      {"restart", "", "ends the process; what is stored stays", &S::restart, nullptr},
      {"reinstall", "", "ends the process and empties the store", &S::reinstall, nullptr},
      {"wipe", "", "ends the process and empties the store and the keychain", &S::wipe, nullptr},
      {"document", "NAME {...}", "replaces a stored document", &S::document, nullptr},
      {"keychain", "NAME {...}|NAME null|lock|unlock",
       "replaces or deletes an item of the keychain, whose \"account\" holds the library's identifiers; a locked one "
       "answers nothing",
       &S::keychain, nullptr},
      {"show",
       "documents|document NAME|keychain|payload|record|requests|log|candidates|skadnetwork|clock|timers [PATH]",
       "looks inside; requests and log tell what is new since they were last shown; PATH, a JSON pointer, picks one "
       "value and leaves them new",
       &S::show, views},
      {"expect", "PATH VALUE|absent [PATH VALUE|absent...]",
       "compares what was shown last; PATH is a JSON pointer, \"\" for the whole, with /# at its end a number of "
       "elements",
       &S::expect, nullptr},
      {"explain", "[KEY]",
       "tells of a key what it means, where it comes from and what changes it, with its value in the payload that was "
       "sent last; without KEY of all that payload's; help explain lists all that there are",
       &S::explain, payloadKeys},
      {"open", "FOLDER",
       "goes on from a copy of an application's data folder, with the keychain file beside it; the folder is left as "
       "it "
       "is",
       &S::open, nullptr},
      {"fleet", "N SECONDS", "N devices with habits of their own, for that much virtual time", &S::fleet, nullptr},
      {"help", "[COMMAND]", "tells what there is", &S::help, commandNames},
      {"quit", "", "ends the device; at the prompt Ctrl-D does, too, and Ctrl-C ends a command that takes its time",
       &S::quit, nullptr},
      {"exit", "", "the same", &S::quit, nullptr},
  };
  return all;
}

std::vector<std::string_view> Simulator::commandNames() {
  return names(commands());
}

std::vector<std::string> Simulator::completions(std::string_view line) {
  line.remove_prefix(std::min(line.find_first_not_of(' '), line.size()));
  const auto space = line.find(' ');
  Words words;
  if (space == line.npos) {
    words = commandNames();
  } else {
    const auto command = std::find_if(commands().begin(), commands().end(),
                                      [&](const Command& known) { return known.name == line.substr(0, space); });
    line.remove_prefix(std::min(line.find_first_not_of(' ', space), line.size()));
    if (command == commands().end() || !command->words || line.find(' ') != line.npos) return {};
    words = command->words();
  }
  std::vector<std::string> fitting;
  for (const auto& word : words) {
    if (word.starts_with(line)) fitting.emplace_back(word);
  }
  return fitting;
}

}  // namespace zul::simulator
