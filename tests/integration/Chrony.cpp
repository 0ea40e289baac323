#include "Chrony.h"

#include <fmt/format.h>
#include <pwd.h>
#include <sys/socket.h>
#include <sys/time.h>
#include <sys/un.h>
#include <unistd.h>

#include <array>
#include <chrono>
#include <cstring>
#include <vector>

#include "Descriptor.h"

namespace zul::test {

namespace {

using namespace std::chrono_literals;

/// What chronyd reads from the socket of a reference.
struct ReferenceSample {
  timeval time;
  double offset;
  int pulse;
  int leap;
  int padding;
  int magic;
};
constexpr int kMagic = 0x534f434b;

std::string ownName() {
  const auto* const entry = ::getpwuid(::geteuid());
  return entry != nullptr ? entry->pw_name : "root";
}

}  // namespace

std::string Chrony::program() {
  // An unpacked one first: systems restrict where the installed one may read.
  for (const auto* path : {ZUL_UNPACKED_CHRONYD, "/usr/sbin/chronyd"}) {
    if (::access(path, X_OK) == 0) return path;
  }
  return "";
}

Chrony::Chrony(const std::string& address, std::uint16_t port, double ahead) {
  const auto socket = folder_.path("reference");
  // Names without a folder, since its path may have spaces in it.
  folder_.write("chrony.conf",
                fmt::format("bindaddress {}\nport {}\nallow 127.0.0.0/8\ncmdport 0\nbindcmdaddress /\n"
                            "pidfile pid\nrefclock SOCK reference offset {} poll -1 filter 4 delay 1e-4\n",
                            address, port, ahead));
  // No control of the clock, in the foreground, also for others than root.
  daemon_ = std::make_unique<Child>(
      "/bin/sh", std::vector<std::string>{"-c", "cd \"$1\" && exec \"$2\" -x -d -U -u \"$3\" -f chrony.conf", "chronyd",
                                          folder_.path(), program(), ownName()});
  reference_ = std::thread([this, socket] {
    while (!ended_) {
      tellTime(socket);
      std::this_thread::sleep_for(100ms);
    }
  });
}

Chrony::~Chrony() {
  ended_ = true;
  reference_.join();
}

bool Chrony::isSet() {
  return daemon_->readUpTo("Selected source", 30s);
}

void Chrony::tellTime(const std::string& socket) const {
  const Descriptor sender(::socket(AF_UNIX, SOCK_DGRAM | SOCK_CLOEXEC, 0), "no socket");
  sockaddr_un address{};
  address.sun_family = AF_UNIX;
  std::strncpy(address.sun_path, socket.c_str(), sizeof address.sun_path - 1);
  ReferenceSample sample{};
  ::gettimeofday(&sample.time, nullptr);
  sample.magic = kMagic;
  // Lost as long as chronyd has not begun to listen.
  ::sendto(sender.get(), &sample, sizeof sample, 0, reinterpret_cast<const sockaddr*>(&address), sizeof address);
}

}  // namespace zul::test
