#include "Simulator.h"

#include <algorithm>

#include "CurlHttpClient.h"
#include "DeviceTable.h"
#include "LinuxClock.h"
#include "LiveClient.h"
#include "Operations.h"
#include "Services.h"
#include "SimulatorLog.h"

namespace zul::simulator {

namespace {

using std::chrono::steady_clock;
using Words = std::vector<std::string_view>;

Words serviceNames() {
  Words names;
  for (const auto& service : kServices) names.push_back(service.name);
  return names;
}
Words operationNames() {
  Words names;
  for (const auto& operation : operations()) names.push_back(operation.name);
  return names;
}
Words networks() {
  return {"wifi", "cellular", "offline"};
}
Words states() {
  return {"active", "inactive", "background", "foreground", "significantTimeChange"};
}
Words views() {
  return {"documents", "document", "keychain", "payload", "record", "requests", "log", "clock", "timers"};
}

}  // namespace

Simulator::Simulator(const SimulatorOptions& options, Show show)
    : print_(std::move(show)), log_(std::make_shared<SimulatorLog>(options.printLog)) {
  phone_.log = log_;
  if (!options.collectorUrl.empty()) goLive(options);
}

Simulator::~Simulator() {
  phone_.endProcess();  // before what its callbacks report to
}

// From here on virtual time follows real time.
void Simulator::goLive(const SimulatorOptions& options) {
  live_ = std::make_shared<LiveClient>(std::make_shared<platform::CurlHttpClient>());
  phone_.sim.http->setUpstream(live_);
  phone_.deployment.collectorBaseUrl = options.collectorUrl;
  while (phone_.deployment.collectorBaseUrl.ends_with('/')) phone_.deployment.collectorBaseUrl.pop_back();
  phone_.deployment.caFile = options.caFile;
  constexpr std::string_view kHttp = "http://";  // as the app-store look-up is asked
  phone_.deployment.appStoreLookupHost = phone_.deployment.collectorBaseUrl.starts_with(kHttp)
                                             ? phone_.deployment.collectorBaseUrl.substr(kHttp.size())
                                             : Deployment().appStoreLookupHost;
  phone_.sim.clock->set(platform::LinuxClock().now());
  phone_.sim.dispatcher->setPace([this](double, double to) {
    live_->deliver(start_ + std::chrono::duration_cast<steady_clock::duration>(std::chrono::duration<double>(to)));
    return std::min(to, sinceStart());
  });
}

double Simulator::sinceStart() const {
  return std::chrono::duration<double>(steady_clock::now() - start_).count();
}

void Simulator::run(std::string_view line) {
  Arguments arguments(line);
  if (arguments.empty()) return;
  const auto name = arguments.word("a command");
  const auto command =
      std::find_if(commands().begin(), commands().end(), [&](const Command& known) { return known.name == name; });
  if (command == commands().end()) throw CommandError("there is no such command; help tells which there are");
  auto& dispatcher = *phone_.sim.dispatcher;
  if (live_) dispatcher.advance(sinceStart() - dispatcher.now());  // what fell due while nobody gave a command
  shown_.reset();
  (this->*command->run)(arguments);
  if (!shown_ && !reports_.empty()) shown_ = std::exchange(reports_, {});
  if (!shown_) return;
  print_(*shown_);
  last_ = std::move(shown_);
}

const std::vector<Simulator::Command>& Simulator::commands() {
  using S = Simulator;
  static const std::vector<Command> all = {
      {"device", "{...}", "sets values of the device; help device lists them", &S::device, nullptr},
      {"config", "{...}", "the application's service settings, the dictionary \"zulAuthorizationKey\"", &S::config,
       nullptr},
      {"info", "{...}", "other entries of the Info.plist; null removes one", &S::info, nullptr},
      {"resource", "NAME \"TEXT\"", "a file of the application's bundle", &S::resource, nullptr},
      {"clock", "2024-01-31T10:00:00 [ZONE] | += 90s | -= 90s",
       "sets the wall clock and the time zone, or moves the clock without time passing", &S::clock, nullptr},
      {"network", "wifi|cellular|offline", "how the network is reached, and whether requests get through", &S::network,
       networks},
      {"collector", "ENDPOINT {...}",
       "queues an answer: its body, or \"raw\" text, \"status\", \"delay\", \"fail\"; the last one repeats",
       &S::collector, serviceNames},
      {"ntp", "{...}", "the time servers; not built yet", &S::ntp, nullptr},
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
      {"wipe", "", "ends the process and empties the store and the keychain",
       &S::reinstall,  // there is no keychain yet
       nullptr},
      {"document", "NAME {...}", "replaces a stored document", &S::document, nullptr},
      {"keychain", "NAME {...}", "replaces an item of the keychain; not built yet", &S::keychain, nullptr},
      {"show", "documents|document NAME|keychain|payload|record|requests|log|clock|timers [PATH]",
       "looks inside; requests and log tell what is new since they were last shown; PATH, a JSON pointer, picks one "
       "value and leaves them new",
       &S::show, views},
      {"expect", "PATH VALUE|absent [PATH VALUE|absent...]",
       "compares what was shown last; PATH is a JSON pointer, \"\" for the whole, with /# at its end a number of "
       "elements",
       &S::expect, nullptr},
      {"fleet", "N SECONDS", "N devices with habits of their own, for that much virtual time", &S::fleet, nullptr},
      {"help", "[COMMAND]", "tells what there is", &S::help, commandNames},
  };
  return all;
}

std::vector<std::string_view> Simulator::commandNames() {
  Words names;
  for (const auto& command : commands()) names.push_back(command.name);
  return names;
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
