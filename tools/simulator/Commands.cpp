#include <fmt/format.h>

#include <algorithm>
#include <chrono>
#include <cstdio>

#include "Answers.h"
#include "AttributionServices.h"
#include "Catalogue.h"
#include "Choices.h"
#include "Contract.h"
#include "DeviceTable.h"
#include "Fleet.h"
#include "Json.h"
#include "LiveClient.h"
#include "Operations.h"
#include "Runtime.h"
#include "Simulator.h"
#include "TimeServers.h"
#include "Views.h"

namespace zul::simulator {

namespace {

using boost::json::object;
using boost::json::value;
using collector::Endpoint;

// The members that say how an answer is given; all others are its body.
platform::SimulatedHttp::Answer readAnswer(Endpoint endpoint, object form) {
  platform::SimulatedHttp::Answer answer;
  const auto take = [&](std::string_view key) {
    std::optional<value> member;
    if (auto* const found = form.if_contains(key)) member = std::move(*found);
    form.erase(key);
    return member;
  };
  if (const auto fail = take("fail")) {
    if (!fail->is_bool()) throw CommandError("fail must be true or false");
    if (fail->get_bool()) answer.error = "the connection broke";
  }
  if (const auto status = take("status")) {
    if (!status->is_int64() || status->get_int64() < 100 || status->get_int64() > 599) {
      throw CommandError("status must be a whole number from 100 to 599");
    }
    answer.status = static_cast<int>(status->get_int64());
  }
  if (const auto delay = take("delay")) {
    const auto seconds = delay->is_string() ? parseDuration(std::string_view(delay->get_string())) : std::nullopt;
    if (!seconds) throw CommandError("delay must be a text like \"500ms\" or \"3s\"");
    answer.delay = *seconds;
  }
  const auto raw = take("raw");
  if (raw && !raw->is_string()) throw CommandError("raw must be a string");
  if (raw) {
    answer.body = raw->get_string();
  } else if (!form.empty()) {
    answer.body = json::text(form);
  } else if (answer.status < 300) {
    answer.body = collector::usualBody(endpoint, std::string("bundleId=") + Phone::kBundleId);
  }
  return answer;
}

// "2024-01-31T10:00:00", a moment of the device's calendar.
platform::CivilTime readTime(const std::string& text) {
  constexpr std::string_view kForm = "0000-00-00T00:00:00";  // 0 stands for any digit
  const bool formed = text.size() == kForm.size() &&
                      std::equal(text.begin(), text.end(), kForm.begin(),
                                 [](char c, char form) { return form == '0' ? c >= '0' && c <= '9' : c == form; });
  platform::CivilTime time;
  if (formed) {
    std::sscanf(text.c_str(), "%4d-%2d-%2dT%2d:%2d:%2d", &time.year, &time.month, &time.day, &time.hour, &time.minute,
                &time.second);
  }
  using namespace std::chrono;
  const bool exists = (year(time.year) / time.month / time.day).ok() && time.year > 0 && time.hour < 24 &&
                      time.minute < 60 && time.second < 60;
  if (!formed || !exists) {
    throw CommandError(fmt::format("the time must be like 2024-01-31T10:00:00 or += 90s, not {}", text));
  }
  return time;
}

}  // namespace

// ---- the device and its surroundings

void Simulator::device(Arguments& arguments) {
  const auto changes = arguments.object("the values");
  arguments.end();
  changeDevice(phone_.sim.device->values, changes);
}

void Simulator::setInfo(const object& entries) {
  auto& info = phone_.sim.bundle->info;
  auto merged = DictionaryAccess::object(info);
  for (const auto& [key, entry] : entries) {
    if (entry.is_null()) {
      merged.erase(key);
    } else {
      merged[key] = entry;
    }
  }
  info = DictionaryAccess::wrap(std::move(merged));
}

void Simulator::config(Arguments& arguments) {
  auto settings = arguments.object("the dictionary");
  arguments.end();
  setInfo({{"zulAuthorizationKey", std::move(settings)}});
}

void Simulator::info(Arguments& arguments) {
  const auto entries = arguments.object("the entries");
  arguments.end();
  setInfo(entries);
}

void Simulator::resource(Arguments& arguments) {
  const auto name = arguments.word("the name");
  auto& bundle = *phone_.sim.bundle;
  if (const auto content = arguments.value("the content"); content.is_object()) {
    bundle.propertyLists[name] = DictionaryAccess::wrap(content.get_object());
  } else if (content.is_string()) {
    bundle.resources[name] = std::string(content.get_string());
  } else {
    throw CommandError("the content must be a text or an object");
  }
  arguments.end();
}

void Simulator::clock(Arguments& arguments) {
  auto& clock = *phone_.sim.clock;
  const bool forward = arguments.take("+=");
  if (forward || arguments.take("-=")) {
    const double jump = arguments.duration("the jump");
    arguments.end();
    const double moment = clock.now() + (forward ? jump : -jump);
    if (const int year = clock.civil(moment).year; year < 1 || year > 9999) {
      throw CommandError(fmt::format("the clock ends with the year 9999, and {} is out of its range", year));
    }
    clock.set(moment);
    return;
  }
  const auto time = readTime(arguments.word("the time"));
  const auto zone = arguments.empty() ? clock.zone() : arguments.word("the zone");
  arguments.end();
  if (!clock.setZone(zone)) {
    throw CommandError(fmt::format("there is no time zone {}; it is a name like Asia/Seoul or like +09:00", zone));
  }
  clock.set(clock.seconds(time));
}

void Simulator::network(Arguments& arguments) {
  const auto name = arguments.word("the network");
  arguments.end();
  const auto* const network = find(kNetworks, name);
  if (!network) throw CommandError(fmt::format("the network is wifi, cellular or offline, not {}", name));
  phone_.sim.reachability->value = network->flags;
  phone_.sim.http->setOnline(network->flags != 0);
  phone_.sim.network->setOnline(network->flags != 0);
}

void Simulator::collector(Arguments& arguments) {
  const auto name = arguments.word("the endpoint");
  auto form = arguments.object("the answer");
  arguments.end();
  const auto* const service = find(kServices, name);
  if (!service) throw CommandError(fmt::format("the collector has no endpoint {}", name));
  if (live_) throw CommandError("a real collector decides for itself what it answers");
  phone_.sim.http->answer(std::string(service->path()), readAnswer(service->endpoint, std::move(form)));
}

void Simulator::ntp(Arguments& arguments) {
  std::vector<test::SimulatedPhone::PlacedTimeServer> servers;
  if (!arguments.take("none")) servers = readTimeServers(arguments.value("the time servers"));
  arguments.end();
  phone_.setTimeServers(std::move(servers));
}

void Simulator::webview(Arguments& arguments) {
  const auto changes = arguments.object("what pages do");
  arguments.end();
  changeWebViews(phone_.sim.webViews->behaviour(), changes);
}

void Simulator::searchads(Arguments& arguments) {
  const auto changes = arguments.object("what the platform knows");
  arguments.end();
  changeAdServices(*phone_.sim.adServices, changes);
}

// ---- the application

std::function<void(object)> Simulator::reporter() {
  return [this](object report) {
    report["at"] = clockView(*phone_.sim.clock)["time"];
    reports_.push_back(std::move(report));
  };
}

void Simulator::launch(Arguments& arguments) {
  std::optional<Dictionary> options;
  bool background = false;
  bool callback = false;
  while (!arguments.empty()) {
    if (arguments.take("background")) {
      background = true;
    } else if (arguments.take("callback")) {
      callback = true;
    } else {
      options = DictionaryAccess::wrap(arguments.object("the launch options"));
    }
  }
  state_ = background ? ApplicationState::background : ApplicationState::active;
  std::function<void()> report;
  if (callback) report = [tell = reporter()] { tell({{"callback", "deferred"}}); };
  phone_.launch(options, state_, report);
}

void Simulator::call(Arguments& arguments) {
  const auto name = arguments.word("the operation");
  const auto* const operation = find(operations(), name);
  if (!operation) throw CommandError(fmt::format("there is no operation {}; see help call", name));
  Call call{phone_, arguments, state_, reporter()};
  shown_ = operation->run(call);
}

void Simulator::state(Arguments& arguments) {
  const auto name = arguments.word("the state");
  arguments.end();
  const auto* const state = find(kStates, name);
  if (!state) throw CommandError(fmt::format("there is no state {}", name));
  if (state->state) state_ = *state->state;
  if (state->event) phone_.sim.lifeCycle->notify(*state->event);
}

void Simulator::advance(Arguments& arguments) {
  const double seconds = arguments.duration("how long");
  arguments.end();
  phone_.sim.dispatcher->advance(seconds);
}

void Simulator::restart(Arguments& arguments) {
  arguments.end();
  phone_.endProcess();
}

void Simulator::reinstall(Arguments& arguments) {
  arguments.end();
  phone_.reinstall();
}

void Simulator::wipe(Arguments& arguments) {
  reinstall(arguments);
  phone_.sim.keychain->clear();
}

// ---- around it

void Simulator::fleet(Arguments& arguments) {
  const auto devices = arguments.value("the number of devices");
  double seconds = 0;
  if (arguments.isValue()) {
    const auto number = arguments.value("how many seconds");
    if (!number.is_number()) throw CommandError("the seconds must be a number, or a text like 12h");
    seconds = number.to_number<double>();
  } else {
    seconds = arguments.duration("how long");
  }
  arguments.end();
  if (!(seconds >= 0 && seconds <= kLongestDuration)) throw CommandError("so many seconds cannot be simulated");
  if (!devices.is_int64() || devices.get_int64() < 1 || devices.get_int64() > 1'000'000) {
    throw CommandError("the number of devices must be from 1 to 1000000");
  }
  shown_ = runFleet({.devices = static_cast<std::size_t>(devices.get_int64()),
                     .seconds = seconds,
                     .model = phone_,
                     .live = live_.get(),
                     .goOn = [this] { checkInterrupt(); }});
}

void Simulator::help(Arguments& arguments) {
  if (arguments.empty()) {
    object help;
    for (const auto& command : commands()) {
      help[fmt::format("{} {}", command.name, command.parameters)] = command.meaning;
    }
    shown_ = std::move(help);
    return;
  }
  const auto name = arguments.word("the command");
  arguments.end();
  if (name == "device") {
    shown_ = deviceHelp();
  } else if (name == "explain") {
    shown_ = payloadCatalogue();
  } else if (name == "collector") {
    shown_ = endpointCatalogue();
  } else if (name == "ntp") {
    shown_ = timeServersHelp();
  } else if (name == "webview") {
    shown_ = webViewHelp();
  } else if (name == "call") {
    object help;
    for (const auto& operation : operations()) help[operation.name] = operation.parameters;
    shown_ = std::move(help);
  } else {
    const auto command =
        std::find_if(commands().begin(), commands().end(), [&](const Command& known) { return known.name == name; });
    if (command == commands().end()) throw CommandError(fmt::format("there is no command {}", name));
    shown_ = object{{fmt::format("{} {}", command->name, command->parameters), command->meaning}};
  }
}

void Simulator::quit(Arguments& arguments) {
  arguments.end();
  ended_ = true;
}

}  // namespace zul::simulator
