#include "AttributionServices.h"

#include <fmt/format.h>

#include <algorithm>
#include <iterator>
#include <optional>
#include <string_view>
#include <variant>

#include "Arguments.h"
#include "Claim.h"
#include "Json.h"

namespace zul::simulator {

namespace {

using boost::json::object;
using boost::json::value;
using Behaviour = platform::SimulatedWebViews::Behaviour;

struct WebViewValue {
  std::string_view name;
  std::variant<bool Behaviour::*, double Behaviour::*, std::string Behaviour::*,
               std::optional<std::string> Behaviour::*>
      place;
  std::string_view meaning;
};
constexpr WebViewValue kWebViewValues[] = {
    {"exist", &Behaviour::exist, "false: no web view can be made"},
    {"finish", &Behaviour::finish, "false: a page is loaded, and that is never told"},
    {"stayLoading", &Behaviour::stayLoading, "true: a page that has finished still counts as loading"},
    {"scriptError", &Behaviour::scriptError, "scripts fail with it; \"\" for none"},
    {"scriptDelay", &Behaviour::scriptDelay, "how long a script takes, like \"3s\""},
    {"textBefore", &Behaviour::textBefore, "text content of each page before the collector's"},
    {"customUserAgent", &Behaviour::customUserAgent, "the user agent that was set for it; null for none"},
    {"userAgent", &Behaviour::userAgent, "its own"},
};

void read(bool& place, const value& given) {
  if (!given.is_bool()) throw CommandError("it must be true or false");
  place = given.get_bool();
}
void read(double& place, const value& given) {
  const auto seconds = given.is_string() ? parseDuration(std::string_view(given.get_string())) : std::nullopt;
  if (!seconds) throw CommandError("it must be a text like \"500ms\" or \"3s\"");
  place = *seconds;
}
void read(std::string& place, const value& given) {
  if (!given.is_string()) throw CommandError("it must be a text");
  place = given.get_string();
}
void read(Dictionary& place, const value& given) {
  if (!given.is_object()) throw CommandError("it must be an object");
  place = DictionaryAccess::wrap(given.get_object());
}
template <typename T>
void read(std::optional<T>& place, const value& given) {
  if (given.is_null()) {
    place.reset();
  } else {
    read(place.emplace(), given);
  }
}

[[noreturn]] void unknown(std::string_view name) {
  throw CommandError(fmt::format("there is no value {}", name));
}

object claimView(const Claim& claim) {
  object view;
  const auto add = [&](std::string_view name, const Claim::Text& text) {
    if (text) view[name] = *text;
  };
  add("its", claim.its);
  add("itm", claim.itm);
  add("itc", claim.itc);
  add("itw", claim.itw);
  view["itp"] = claim.itp;
  add("itaffid", claim.itaffid);
  add("itbffid", claim.itbffid);
  view["itclkTime"] = claim.itclkTime;
  add("installReferrer", claim.installReferrer);
  return view;
}

}  // namespace

void changeWebViews(Behaviour& behaviour, const object& changes) {
  auto changed = behaviour;
  for (const auto& [key, given] : changes) {
    const std::string_view name = key;
    const auto* const known = std::find_if(std::begin(kWebViewValues), std::end(kWebViewValues),
                                           [&](const auto& one) { return one.name == name; });
    if (known == std::end(kWebViewValues)) unknown(name);
    try {
      std::visit([&, &given = given](auto place) { read(changed.*place, given); }, known->place);
    } catch (const CommandError& e) {
      throw CommandError(fmt::format("{}: {}", name, e.what()));
    }
  }
  behaviour = changed;
}

void changeAdServices(platform::SimulatedAdServices& services, const object& changes) {
  auto token = services.token;
  auto details = services.details;
  bool hasDetails = services.hasDetails;
  for (const auto& [key, given] : changes) {
    if (key == "token") {
      read(token, given);
    } else if (key == "details") {
      read(details, given);
      hasDetails = true;
    } else {
      unknown(key);
    }
  }
  services.token = token;
  services.details = details;
  services.hasDetails = hasDetails;
}

object webViewHelp() {
  object help;
  for (const auto& known : kWebViewValues) help[known.name] = known.meaning;
  return help;
}

object candidatesView(const Claims& claims) {
  const auto view = [](const Claim& claim) { return claim.itclkTime == 0 ? value() : value(claimView(claim)); };
  return {{"fp", view(claims.fp)}, {"ir", view(claims.ir)}};
}

}  // namespace zul::simulator
