#include "SimCarrier.h"

#include <systemd/sd-bus.h>

#include <cctype>
#include <set>

#include "LinuxFiles.h"

namespace zul::platform {

namespace {

constexpr const char* kService = "org.freedesktop.ModemManager1";
constexpr const char* kProviders = "/usr/share/mobile-broadband-provider-info/serviceproviders.xml";
constexpr std::size_t kMostProviders = 4 << 20;
constexpr std::size_t kMccDigits = 3;

struct Modem {
  std::string sim;           // object path, "/" without one
  std::string operatorName;  // of the network that it is registered with
};

std::string value(const BusProperties& properties, std::string_view name) {
  const auto found = properties.find(name);
  return found == properties.end() ? std::string() : found->second;
}

/// The properties of one object by interface, an a{sa{sv}}.
bool readModem(sd_bus_message* message, Modem& modem) {
  if (sd_bus_message_enter_container(message, 'a', "{sa{sv}}") <= 0) return false;
  while (sd_bus_message_enter_container(message, 'e', "sa{sv}") > 0) {
    const char* interface = nullptr;
    BusProperties properties;
    if (sd_bus_message_read(message, "s", &interface) < 0 || !readProperties(message, properties)) return false;
    const std::string_view name = interface;
    if (name == "org.freedesktop.ModemManager1.Modem") modem.sim = value(properties, "Sim");
    if (name == "org.freedesktop.ModemManager1.Modem.Modem3gpp") modem.operatorName = value(properties, "OperatorName");
    if (sd_bus_message_exit_container(message) < 0) return false;
  }
  return sd_bus_message_exit_container(message) >= 0;
}

/// The first modem with a SIM among the managed objects, an a{oa{sa{sv}}}.
std::optional<Modem> firstWithSim(sd_bus_message* message) {
  if (sd_bus_message_enter_container(message, 'a', "{oa{sa{sv}}}") <= 0) return std::nullopt;
  while (sd_bus_message_enter_container(message, 'e', "oa{sa{sv}}") > 0) {
    Modem modem;
    const char* path = nullptr;
    if (sd_bus_message_read(message, "o", &path) < 0 || !readModem(message, modem)) return std::nullopt;
    if (modem.sim.size() > 1) return modem;
    if (sd_bus_message_exit_container(message) < 0) return std::nullopt;
  }
  return std::nullopt;
}

/// The text between the quotes after `name` in a tag: code="kr".
std::string_view attribute(std::string_view tag, std::string_view name) {
  const auto start = tag.find(name);
  if (start == tag.npos) return {};
  tag.remove_prefix(start + name.size());
  return tag.substr(0, tag.find('"'));
}

}  // namespace

std::optional<std::string> simCountry(std::string_view providers, std::string_view network) {
  if (network.size() < kMccDigits) return std::nullopt;
  std::string_view country;
  std::set<std::string_view> ofMcc;
  std::string_view exact;
  std::size_t exactDigits = 0;
  for (auto place = providers.find('<'); place != providers.npos; place = providers.find('<', place + 1)) {
    const auto rest = providers.substr(place);
    const auto tag = rest.substr(0, rest.find('>'));
    if (tag.starts_with("<country ")) country = attribute(tag, "code=\"");
    if (!tag.starts_with("<network-id ")) continue;
    const auto mcc = attribute(tag, "mcc=\"");
    const auto mnc = attribute(tag, "mnc=\"");
    if (mcc.size() != kMccDigits || country.size() != 2 || !network.starts_with(mcc)) continue;
    ofMcc.insert(country);
    // An IMSI does not tell how long its MNC is; the longest that is known counts.
    if (mnc.size() <= exactDigits || !network.substr(kMccDigits).starts_with(mnc)) continue;
    exact = country;
    exactDigits = mnc.size();
  }
  if (exact.empty() && ofMcc.size() == 1) exact = *ofMcc.begin();  // some neighbours share an MCC
  if (exact.empty()) return std::nullopt;
  std::string code(exact);
  for (char& c : code) c = static_cast<char>(std::toupper(static_cast<unsigned char>(c)));
  return code;
}

std::optional<Carrier> simCarrier(BusConversation& conversation) {
  const auto objects = conversation.call(kService, "/org/freedesktop/ModemManager1",
                                         "org.freedesktop.DBus.ObjectManager", "GetManagedObjects");
  const auto modem = objects ? firstWithSim(objects.get()) : std::nullopt;
  if (!modem) return std::nullopt;
  BusProperties sim;
  const auto answer = conversation.call(kService, modem->sim.c_str(), "org.freedesktop.DBus.Properties", "GetAll",
                                        "org.freedesktop.ModemManager1.Sim");
  if (answer) readProperties(answer.get(), sim);

  Carrier carrier;
  const auto network = value(sim, "OperatorIdentifier");
  const auto name = value(sim, "OperatorName");
  const auto providers = readFile(kProviders, kMostProviders);
  if (providers) carrier.isoCountryCode = simCountry(*providers, network.empty() ? value(sim, "Imsi") : network);
  if (!name.empty() || !modem->operatorName.empty()) carrier.name = name.empty() ? modem->operatorName : name;
  return carrier.name || carrier.isoCountryCode ? std::optional(carrier) : std::nullopt;
}

}  // namespace zul::platform
