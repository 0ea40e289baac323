// The commands that look inside the device, and change what they see.

#include <fmt/format.h>

#include "AttributionServices.h"
#include "Json.h"
#include "Runtime.h"
#include "Simulator.h"
#include "SimulatorLog.h"
#include "TimeServers.h"
#include "Tracker.h"
#include "Views.h"

namespace zul::simulator {

using boost::json::value;

namespace {

// The value at the JSON pointer, or the number of elements there where it ends in "/#". Null when there is none.
std::optional<value> at(const value& whole, std::string path) {
  const bool count = path.ends_with("/#");
  if (count) path.resize(path.size() - 2);
  if (!path.empty() && path.front() != '/') {
    throw CommandError(fmt::format("a path is like /0/body/0/SESSION/sid, or \"\" for the whole, not {}", path));
  }
  boost::json::error_code error;
  const auto* const found = path.empty() ? &whole : whole.find_pointer(path, error);
  if (!found) return std::nullopt;
  if (!count) return *found;
  if (found->is_array()) return found->get_array().size();
  if (found->is_object()) return found->get_object().size();
  return std::nullopt;
}

}  // namespace

void Simulator::document(Arguments& arguments) {
  const auto id = arguments.word("the name");
  const auto members = arguments.object("the document");
  arguments.end();
  if (auto* const runtime = phone_.processIfRunning()) {
    runtime->db().replace(id, [&](MutableDocument& document) {
      for (const auto& member : members) document.setValue(member.value(), member.key());
    });
    return;
  }
  phone_.sim.store->put(platform::DocumentStore::Table::documents, id, json::text(members));
}

void Simulator::keychain(Arguments& arguments) {
  auto& keychain = *phone_.sim.keychain;
  const auto name = arguments.word("the item");
  if (name == "lock" || name == "unlock") {
    arguments.end();
    keychain.setLocked(name == "lock");
    return;
  }
  const auto item = arguments.value("the item's attributes");
  arguments.end();
  if (item.is_null()) {
    keychain.remove(name);
  } else if (item.is_object()) {
    keychain.put(name, readKeychainItem(item.get_object()));
  } else {
    throw CommandError("the item's attributes must be an object, or null");
  }
}

void Simulator::show(Arguments& arguments) {
  const auto what = arguments.word("what");
  auto whole = what == "document" ? documentView(arguments.word("the name")) : view(what);
  if (!arguments.empty()) {
    const auto path = arguments.word("the path");
    arguments.end();
    const auto picked = at(whole, path);
    shown_ = picked.value_or(nullptr);
    absent_ = !picked;
    return;
  }
  shown_ = std::move(whole);
  if (what == "requests") phone_.sim.http->clearRequests();
  if (what == "log") log_->clear();
}

value Simulator::documentView(const std::string& name) {
  const auto documents = phone_.documents();
  const auto* const found = documents.if_contains(name);
  return found ? *found : nullptr;
}

value Simulator::view(const std::string& what) {
  auto& sim = phone_.sim;
  if (what == "documents") return phone_.documents();
  if (what == "keychain") return keychainView(*sim.keychain);
  if (what == "payload") return DictionaryAccess::object(running().tracker().getSessionData());
  if (what == "record") {
    const auto record = running().record().getSharedInstance();
    return record ? value(recordView(*record)) : nullptr;
  }
  if (what == "requests") {
    boost::json::array requests;
    for (const auto& request : sim.http->requests()) requests.push_back(requestView(request, phone_.deployment));
    return requests;
  }
  if (what == "log") return boost::json::array(log_->lines().begin(), log_->lines().end());
  if (what == "clock") {
    auto clock = clockView(*sim.clock);
    if (auto* const runtime = phone_.processIfRunning()) clock["network"] = networkClockView(runtime->networkClock());
    return clock;
  }
  if (what == "candidates") return candidatesView(running().tracker().claims());
  if (what == "skadnetwork") {
    const auto& calls = sim.skAdNetwork->calls;
    return boost::json::array(calls.begin(), calls.end());
  }
  if (what == "timers") return timersView(*sim.dispatcher);
  throw CommandError(fmt::format("there is nothing called {} to show; see help show", what));
}

Runtime& Simulator::running() {
  auto* const runtime = phone_.processIfRunning();
  if (!runtime) throw CommandError("no process runs; launch starts one");
  return *runtime;
}

void Simulator::expect(Arguments& arguments) {
  if (!last_) throw CommandError("nothing has been shown yet");
  do {
    const auto path = arguments.word("the path");
    const auto found = lastAbsent_ ? std::nullopt : at(*last_, path);
    const bool absent = arguments.take("absent");
    const auto wanted = absent ? std::nullopt : std::optional(arguments.value("the value"));
    if (found == wanted) continue;
    const auto text = [](const std::optional<value>& side) { return side ? json::text(*side) : "absent"; };
    throw CommandError(
        fmt::format("{} is {}, and should be {}", path.empty() ? "the whole" : path, text(found), text(wanted)));
  } while (!arguments.empty());
}

}  // namespace zul::simulator
