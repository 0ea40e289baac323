#include "NetlinkReachability.h"

#include <arpa/inet.h>
#include <linux/netlink.h>
#include <linux/rtnetlink.h>
#include <net/if.h>
#include <strings.h>
#include <sys/socket.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <cstring>
#include <span>
#include <string>

namespace zul::platform {

namespace {

// A root name server: a global address wherever the device is, and one that no local route leads to.
constexpr const char* kWorldIpv4 = "198.41.0.4";
constexpr const char* kWorldIpv6 = "2001:503:ba3e::2:30";

struct Question {
  nlmsghdr header{};
  rtmsg route{};
  rtattr attribute{};
  std::array<std::byte, sizeof(in6_addr)> address{};
};

struct Route {
  bool known = false;  // the kernel gave an answer that makes sense
  bool exists = false;
  unsigned interface = 0;
};

class NetlinkSocket {
 public:
  NetlinkSocket() : fd_(::socket(AF_NETLINK, SOCK_RAW | SOCK_CLOEXEC, NETLINK_ROUTE)) {}
  ~NetlinkSocket() {
    if (fd_ >= 0) ::close(fd_);
  }
  NetlinkSocket(const NetlinkSocket&) = delete;
  NetlinkSocket& operator=(const NetlinkSocket&) = delete;

  int fd() const { return fd_; }

 private:
  int fd_;
};

Question question(int family, const char* address) {
  Question question;
  const std::size_t length = family == AF_INET ? sizeof(in_addr) : sizeof(in6_addr);
  question.header.nlmsg_len = static_cast<std::uint32_t>(NLMSG_LENGTH(sizeof(rtmsg)) + RTA_LENGTH(length));
  question.header.nlmsg_type = RTM_GETROUTE;
  question.header.nlmsg_flags = NLM_F_REQUEST;
  question.route.rtm_family = static_cast<unsigned char>(family);
  question.route.rtm_dst_len = static_cast<unsigned char>(length * 8);
  question.attribute.rta_type = RTA_DST;
  question.attribute.rta_len = static_cast<unsigned short>(RTA_LENGTH(length));
  inet_pton(family, address, question.address.data());
  return question;
}

/// The part of `bytes` that starts with a T; false when there is not enough.
template <typename T>
bool take(std::span<const std::byte> bytes, T& value) {
  if (bytes.size() < sizeof(T)) return false;
  std::memcpy(&value, bytes.data(), sizeof(T));
  return true;
}

unsigned outgoingInterface(std::span<const std::byte> attributes) {
  rtattr attribute{};
  while (take(attributes, attribute) && attribute.rta_len >= sizeof(rtattr) && attribute.rta_len <= attributes.size()) {
    std::uint32_t index = 0;
    const auto value = attributes.first(attribute.rta_len).subspan(sizeof(rtattr));
    if (attribute.rta_type == RTA_OIF && take(value, index)) return index;
    attributes = attributes.subspan(std::min<std::size_t>(RTA_ALIGN(attribute.rta_len), attributes.size()));
  }
  return 0;
}

Route parse(std::span<const std::byte> answer) {
  Route route;
  nlmsghdr header{};
  if (!take(answer, header) || header.nlmsg_len > answer.size() || header.nlmsg_len < NLMSG_HDRLEN) return route;
  const auto payload = answer.first(header.nlmsg_len).subspan(NLMSG_HDRLEN);
  if (header.nlmsg_type == NLMSG_ERROR) {
    nlmsgerr error{};
    route.known = take(payload, error) && (error.error == -ENETUNREACH || error.error == -EHOSTUNREACH ||
                                           error.error == -EACCES || error.error == -EINVAL);
    return route;
  }
  rtmsg message{};
  if (header.nlmsg_type != RTM_NEWROUTE || !take(payload, message)) return route;
  route.known = true;
  route.interface =
      outgoingInterface(payload.subspan(std::min<std::size_t>(NLMSG_ALIGN(sizeof(rtmsg)), payload.size())));
  route.exists = message.rtm_type == RTN_UNICAST && route.interface != 0;
  return route;
}

Route lookUp(const NetlinkSocket& socket, int family, const char* address) {
  const Question asked = question(family, address);
  if (::send(socket.fd(), &asked, asked.header.nlmsg_len, MSG_NOSIGNAL) < 0) return {};
  // The kernel answers while it takes the question, so there is nothing to wait for.
  alignas(nlmsghdr) std::array<std::byte, 4096> answer;
  const ssize_t length = ::recv(socket.fd(), answer.data(), answer.size(), MSG_DONTWAIT);
  if (length < 0) return {};
  return parse(std::span<const std::byte>(answer).first(static_cast<std::size_t>(length)));
}

std::string nameOf(unsigned interface) {
  std::array<char, IF_NAMESIZE> buffer{};
  return if_indextoname(interface, buffer.data()) != nullptr ? buffer.data() : std::string();
}

bool isThisMachine(std::string_view host) {
  const auto equals = [&](std::string_view name) {
    return host.size() == name.size() && strncasecmp(host.data(), name.data(), name.size()) == 0;
  };
  constexpr std::string_view kSuffix = ".localhost";
  if (equals("localhost") || equals("::1") || equals("[::1]")) return true;
  if (host.size() > kSuffix.size() &&
      strncasecmp(host.data() + host.size() - kSuffix.size(), kSuffix.data(), kSuffix.size()) == 0) {
    return true;
  }
  in_addr address{};
  return inet_pton(AF_INET, std::string(host).c_str(), &address) == 1 && (ntohl(address.s_addr) >> 24) == 127;
}

}  // namespace

std::optional<std::uint32_t> NetlinkReachability::flags(std::string_view collectorHost) {
  if (isThisMachine(collectorHost)) return kReachable;
  const NetlinkSocket socket;
  if (socket.fd() < 0) return std::nullopt;
  const Route ipv4 = lookUp(socket, AF_INET, kWorldIpv4);
  const Route route = ipv4.exists ? ipv4 : lookUp(socket, AF_INET6, kWorldIpv6);
  if (route.exists) return kReachable | (interfaces_.isCellular(nameOf(route.interface)) ? kIsWwan : 0);
  if (!ipv4.known && !route.known) return std::nullopt;
  return 0;
}

}  // namespace zul::platform
