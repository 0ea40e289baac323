// The only file that includes the other library, which is one large header.

#include "PlainServer.h"

#include <httplib.h>
#include <unistd.h>

#include <limits>
#include <stdexcept>
#include <string>

namespace zul::bench {

namespace {

constexpr auto kStart = std::chrono::seconds(30);

// Until it is killed.
int serve() {
  httplib::Server server;
  server.set_tcp_nodelay(true);
  server.set_keep_alive_max_count(std::numeric_limits<std::size_t>::max());
  server.Post(".*", [](const httplib::Request&, httplib::Response& response) {
    response.set_content(std::string(PlainServer::kAnswer), "application/json");
  });
  const auto port = std::to_string(server.bind_to_any_port("127.0.0.1")) + "\n";
  if (::write(STDOUT_FILENO, port.data(), port.size()) < 0) return 1;
  return server.listen_after_bind() ? 0 : 1;
}

}  // namespace

PlainServer::PlainServer() : process_(serve), port_(std::atoi(process_.takeUpTo("\n", kStart).c_str())) {
  if (port_ <= 0) throw std::runtime_error("the plain server did not start");
}

}  // namespace zul::bench
