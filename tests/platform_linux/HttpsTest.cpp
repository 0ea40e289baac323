#include <gtest/gtest.h>

#include <string>

#include "CurlHttpClient.h"
#include "DevCollector.h"
#include "TestCertificate.h"

namespace zul::platform {
namespace {

using collector::DevCollector;
using test::TestCertificate;

TEST(CurlHttpClient, TrustsThePrivateAuthorityInsteadOfTheSystems) {
  const TestCertificate own;
  const TestCertificate another;
  const TestCertificate misnamed("elsewhere.example");
  DevCollector server({.certFile = own.certFile, .keyFile = own.keyFile});
  DevCollector impostor({.certFile = misnamed.certFile, .keyFile = misnamed.keyFile});
  CurlHttpClient client;
  const auto fetch = [&](DevCollector& from, const std::string& authority) {
    from.start();
    HttpRequest request;
    request.url = "https://localhost:" + std::to_string(from.port()) + "/lookup?bundleId=a";
    request.caFile = authority;
    return client.fetch(std::move(request));
  };
  const HttpResponse trusted = fetch(server, own.certFile);
  EXPECT_EQ(trusted.error, "");
  EXPECT_EQ(trusted.status, 200);

  // The connection that the trusting request left open is not for those who trust others.
  EXPECT_NE(fetch(server, "").error, "");
  EXPECT_NE(fetch(server, another.certFile).error, "");
  EXPECT_NE(fetch(server, own.folder.path("missing.pem")).error, "");

  EXPECT_NE(fetch(impostor, misnamed.certFile).error, "");
}

}  // namespace
}  // namespace zul::platform
