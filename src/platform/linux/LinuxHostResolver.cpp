#include "LinuxHostResolver.h"

#include <netdb.h>

#include <array>
#include <cerrno>
#include <cstring>
#include <memory>

namespace zul::platform {

HostResolver::Found LinuxHostResolver::resolve(const std::string& host) {
  // No flags: the usual ones leave out what this machine has an address of the same family for on loopback alone.
  addrinfo wanted{};
  wanted.ai_socktype = SOCK_DGRAM;
  addrinfo* list = nullptr;
  const int code = getaddrinfo(host.empty() ? nullptr : host.c_str(), nullptr, &wanted, &list);
  Found found;
  if (code != 0) {
    found.error = code == EAI_SYSTEM ? std::strerror(errno) : gai_strerror(code);
    return found;
  }
  const std::unique_ptr<addrinfo, decltype(&freeaddrinfo)> owner(list, freeaddrinfo);
  for (const auto* entry = list; entry != nullptr; entry = entry->ai_next) {
    std::array<char, NI_MAXHOST> text{};
    if (getnameinfo(entry->ai_addr, entry->ai_addrlen, text.data(), text.size(), nullptr, 0, NI_NUMERICHOST) == 0) {
      found.addresses.emplace_back(text.data());
    }
  }
  if (found.addresses.empty()) found.error = "no address";
  return found;
}

}  // namespace zul::platform
