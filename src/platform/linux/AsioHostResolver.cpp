#include "AsioHostResolver.h"

#include <boost/asio/io_context.hpp>
#include <boost/asio/ip/udp.hpp>

namespace zul::platform {

HostResolver::Found AsioHostResolver::resolve(const std::string& host) {
  using Udp = boost::asio::ip::udp;
  boost::asio::io_context context(1);
  Udp::resolver resolver(context);
  boost::system::error_code failure;
  Found found;
  // No flags: the usual ones leave out what this machine has an address of the same family for on loopback alone.
  for (const auto& entry : resolver.resolve(host, "", Udp::resolver::flags(), failure)) {
    found.addresses.push_back(entry.endpoint().address().to_string());
  }
  if (found.addresses.empty()) found.error = failure ? failure.message() : "no address";
  return found;
}

}  // namespace zul::platform
