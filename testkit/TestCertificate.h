#pragma once

#include <string>

#include "TemporaryFolder.h"

namespace zul::test {

/// A key and the certificate for a host's name that it signed for itself, in files that go with the object. Whoever
/// names the certificate as an authority trusts the host.
struct TestCertificate {
  explicit TestCertificate(const std::string& host = "localhost");

  const TemporaryFolder folder;
  const std::string certFile = folder.path("certificate.pem");
  const std::string keyFile = folder.path("key.pem");
};

}  // namespace zul::test
