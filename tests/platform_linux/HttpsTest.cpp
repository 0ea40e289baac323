#include <gtest/gtest.h>

#include <string>

#include "CurlHttpClient.h"
#include "RunningCollector.h"
#include "TestCertificate.h"

namespace zul::platform {
namespace {

using test::RunningCollector;
using test::TestCertificate;

TEST(CurlHttpClient, TrustsThePrivateAuthorityInsteadOfTheSystems) {
  const TestCertificate own;
  const TestCertificate another;
  const TestCertificate misnamed("elsewhere.example");
  const RunningCollector server(own);
  const RunningCollector impostor(misnamed);
  CurlHttpClient client;
  const auto fetch = [&](const RunningCollector& from, const std::string& authority) {
    HttpRequest request;
    request.url = from.secureUrl() + "/lookup?bundleId=a";
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
