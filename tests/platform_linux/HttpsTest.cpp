#include <gtest/gtest.h>
#include <httplib.h>
#include <openssl/evp.h>
#include <openssl/pem.h>
#include <openssl/x509v3.h>

#include <cstdio>
#include <memory>
#include <thread>

#include "CurlHttpClient.h"
#include "TemporaryFolder.h"

namespace zul::platform {
namespace {

/// Writes a new authority's certificate, which is that of `name` as well, and its key.
void writeCertificate(const char* name, const std::string& certificateFile, const std::string& keyFile) {
  const std::unique_ptr<EVP_PKEY, void (*)(EVP_PKEY*)> key(EVP_EC_gen("P-256"), EVP_PKEY_free);
  const std::unique_ptr<X509, void (*)(X509*)> certificate(X509_new(), X509_free);
  X509* const x509 = certificate.get();
  X509_set_version(x509, X509_VERSION_3);
  ASN1_INTEGER_set(X509_get_serialNumber(x509), 1);
  X509_gmtime_adj(X509_getm_notBefore(x509), -3600);
  X509_gmtime_adj(X509_getm_notAfter(x509), 3600);
  X509_set_pubkey(x509, key.get());
  X509_NAME_add_entry_by_txt(X509_get_subject_name(x509), "CN", MBSTRING_ASC,
                             reinterpret_cast<const unsigned char*>("A test authority"), -1, -1, 0);
  X509_set_issuer_name(x509, X509_get_subject_name(x509));
  const std::string names = std::string("DNS:") + name;
  for (const auto& [id, value] :
       {std::pair(NID_basic_constraints, "critical,CA:TRUE"), std::pair(NID_subject_alt_name, names.c_str())}) {
    X509_EXTENSION* const extension = X509V3_EXT_conf_nid(nullptr, nullptr, id, value);
    X509_add_ext(x509, extension, -1);
    X509_EXTENSION_free(extension);
  }
  X509_sign(x509, key.get(), EVP_sha256());

  const std::unique_ptr<FILE, int (*)(FILE*)> pem(std::fopen(certificateFile.c_str(), "w"), std::fclose);
  PEM_write_X509(pem.get(), x509);
  const std::unique_ptr<FILE, int (*)(FILE*)> keyPem(std::fopen(keyFile.c_str(), "w"), std::fclose);
  PEM_write_PrivateKey(keyPem.get(), key.get(), nullptr, nullptr, 0, nullptr, nullptr);
}

class SecureServer {
 public:
  SecureServer(const std::string& certificate, const std::string& key) : server_(certificate.c_str(), key.c_str()) {
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
  writeCertificate("localhost", folder.path("a.pem"), folder.path("a.key"));
  writeCertificate("localhost", folder.path("b.pem"), folder.path("b.key"));
  writeCertificate("elsewhere.example", folder.path("c.pem"), folder.path("c.key"));
  CurlHttpClient client;
  const auto fetch = [&](const SecureServer& server, const std::string& authority) {
    HttpRequest request;
    request.url = server.url();
    request.caFile = authority;
    return client.fetch(std::move(request));
  };
  const SecureServer server(folder.path("a.pem"), folder.path("a.key"));
  const HttpResponse trusted = fetch(server, folder.path("a.pem"));
  EXPECT_EQ(trusted.error, "");
  EXPECT_EQ(trusted.body, "safe");

  // The connection that the trusting request left open is not for those who trust others.
  EXPECT_NE(fetch(server, "").error, "");
  EXPECT_NE(fetch(server, folder.path("b.pem")).error, "");
  EXPECT_NE(fetch(server, folder.path("missing.pem")).error, "");

  const SecureServer misnamed(folder.path("c.pem"), folder.path("c.key"));
  EXPECT_NE(fetch(misnamed, folder.path("c.pem")).error, "");
}

}  // namespace
}  // namespace zul::platform
