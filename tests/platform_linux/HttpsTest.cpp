#include <gtest/gtest.h>
#include <httplib.h>

#include <cstdlib>
#include <string>
#include <thread>

#include "CurlHttpClient.h"
#include "TemporaryFolder.h"

namespace zul::platform {
namespace {

/// Writes the certificate of a new authority, which is that of `name` as well, and its key.
void writeCertificate(const std::string& name, const std::string& file) {
  const std::string command =
      "openssl req -x509 -newkey ec -pkeyopt ec_paramgen_curve:P-256 -nodes -days 2 -subj /CN=" + name +
      " -addext subjectAltName=DNS:" + name + " -keyout " + file + ".key -out " + file + " 2>/dev/null";
  ASSERT_EQ(std::system(command.c_str()), 0) << command;
}

class SecureServer {
 public:
  explicit SecureServer(const std::string& certificate) : server_(certificate.c_str(), (certificate + ".key").c_str()) {
    server_.Get("/",
                [](const httplib::Request&, httplib::Response& response) { response.set_content("safe", "text"); });
    port_ = server_.bind_to_any_port("127.0.0.1");
    thread_ = std::thread([this] { server_.listen_after_bind(); });
  }
  ~SecureServer() {
    server_.stop();
    thread_.join();
  }

  std::string url() const { return "https://localhost:" + std::to_string(port_) + "/"; }

 private:
  httplib::SSLServer server_;
  int port_ = 0;
  std::thread thread_;
};

TEST(CurlHttpClient, TrustsThePrivateAuthorityInsteadOfTheSystems) {
  const test::TemporaryFolder folder;
  writeCertificate("localhost", folder.path("a.pem"));
  writeCertificate("localhost", folder.path("b.pem"));
  writeCertificate("elsewhere.example", folder.path("c.pem"));
  const SecureServer server(folder.path("a.pem"));
  const SecureServer misnamed(folder.path("c.pem"));
  CurlHttpClient client;
  const auto fetch = [&](const SecureServer& server, const std::string& authority) {
    HttpRequest request;
    request.url = server.url();
    request.caFile = authority;
    return client.fetch(std::move(request));
  };
  const HttpResponse trusted = fetch(server, folder.path("a.pem"));
  EXPECT_EQ(trusted.error, "");
  EXPECT_EQ(trusted.body, "safe");

  // The connection that the trusting request left open is not for those who trust others.
  EXPECT_NE(fetch(server, "").error, "");
  EXPECT_NE(fetch(server, folder.path("b.pem")).error, "");
  EXPECT_NE(fetch(server, folder.path("missing.pem")).error, "");

  EXPECT_NE(fetch(misnamed, folder.path("c.pem")).error, "");
}

}  // namespace
}  // namespace zul::platform
