#pragma once

#include <optional>
#include <string>
#include <string_view>

#include "SystemBus.h"
#include "zul/platform/Device.h"

namespace zul::platform {

/// The provider that ModemManager's first SIM belongs to; none without the service, a modem or a SIM that says.
std::optional<Carrier> simCarrier(BusConversation& conversation);

/// The country, in upper case, of the network with these first digits of a subscription: MCC and MNC. `providers` is
/// the text of the provider database that modem tools share. None when neither the network nor its MCC tells one.
std::optional<std::string> simCountry(std::string_view providers, std::string_view network);

}  // namespace zul::platform
