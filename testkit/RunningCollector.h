#pragma once

#include <string>

#include "DevCollector.h"
#include "TestCertificate.h"

namespace zul::test {

/// The development collector, which listens from the beginning.
class RunningCollector : public collector::DevCollector {
 public:
  explicit RunningCollector(const collector::CollectorOptions& options = {}) : DevCollector(options) { start(); }
  /// Over HTTPS.
  explicit RunningCollector(const TestCertificate& certificate)
      : RunningCollector(
            collector::CollectorOptions{.certFile = certificate.certFile, .keyFile = certificate.keyFile}) {}

  /// "127.0.0.1:port"
  std::string host() const { return "127.0.0.1:" + std::to_string(port()); }
  /// The base URL over HTTPS, by the name in the certificate.
  std::string secureUrl() const { return "https://localhost:" + std::to_string(port()); }
};

}  // namespace zul::test
