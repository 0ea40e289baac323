#pragma once

#include <openssl/evp.h>
#include <openssl/pem.h>
#include <openssl/x509.h>
#include <unistd.h>

#include <cstdio>
#include <filesystem>
#include <memory>
#include <string>

namespace zul::collector {

/// A key and the certificate for "localhost" that it signed for itself, in files that go with the object.
struct TestCertificate {
  TestCertificate() {
    const std::unique_ptr<EVP_PKEY, decltype(&EVP_PKEY_free)> pair(EVP_EC_gen("P-256"), &EVP_PKEY_free);
    const std::unique_ptr<X509, decltype(&X509_free)> certificate(X509_new(), &X509_free);
    X509_gmtime_adj(X509_getm_notBefore(certificate.get()), -60);
    X509_gmtime_adj(X509_getm_notAfter(certificate.get()), 3600);
    X509_set_pubkey(certificate.get(), pair.get());
    auto* subject = X509_get_subject_name(certificate.get());
    X509_NAME_add_entry_by_txt(subject, "CN", MBSTRING_ASC, reinterpret_cast<const unsigned char*>("localhost"), -1, -1,
                               0);
    X509_set_issuer_name(certificate.get(), subject);
    X509_sign(certificate.get(), pair.get(), EVP_sha256());
    write(certFile, [&](FILE* file) { PEM_write_X509(file, certificate.get()); });
    write(keyFile, [&](FILE* file) { PEM_write_PrivateKey(file, pair.get(), nullptr, nullptr, 0, nullptr, nullptr); });
  }
  ~TestCertificate() {
    std::filesystem::remove(certFile);
    std::filesystem::remove(keyFile);
  }

  template <typename Writer>
  static void write(const std::string& name, Writer writer) {
    FILE* file = std::fopen(name.c_str(), "w");
    writer(file);
    std::fclose(file);
  }

  const std::string certFile =
      std::filesystem::temp_directory_path() / ("collector-cert-" + std::to_string(getpid()) + ".pem");
  const std::string keyFile =
      std::filesystem::temp_directory_path() / ("collector-key-" + std::to_string(getpid()) + ".pem");
};

}  // namespace zul::collector
