#include "TestCertificate.h"

#include <openssl/evp.h>
#include <openssl/pem.h>
#include <openssl/x509.h>
#include <openssl/x509v3.h>

#include <cstdio>
#include <memory>
#include <stdexcept>

namespace zul::test {

namespace {

void require(bool done) {
  if (!done) throw std::runtime_error("no certificate can be made");
}

template <typename Writer>
void write(const std::string& name, Writer writer) {
  const std::unique_ptr<FILE, decltype(&std::fclose)> file(std::fopen(name.c_str(), "w"), &std::fclose);
  require(file != nullptr && writer(file.get()) == 1);
}

void extend(X509* certificate, int what, const std::string& value) {
  const std::unique_ptr<X509_EXTENSION, decltype(&X509_EXTENSION_free)> extension(
      X509V3_EXT_conf_nid(nullptr, nullptr, what, value.c_str()), &X509_EXTENSION_free);
  require(extension && X509_add_ext(certificate, extension.get(), -1) == 1);
}

}  // namespace

TestCertificate::TestCertificate(const std::string& host) {
  const std::unique_ptr<EVP_PKEY, decltype(&EVP_PKEY_free)> pair(EVP_EC_gen("P-256"), &EVP_PKEY_free);
  const std::unique_ptr<X509, decltype(&X509_free)> certificate(X509_new(), &X509_free);
  require(pair && certificate);
  X509_set_version(certificate.get(), X509_VERSION_3);
  X509_gmtime_adj(X509_getm_notBefore(certificate.get()), -60);
  X509_gmtime_adj(X509_getm_notAfter(certificate.get()), 3600);
  X509_set_pubkey(certificate.get(), pair.get());
  auto* subject = X509_get_subject_name(certificate.get());
  X509_NAME_add_entry_by_txt(subject, "CN", MBSTRING_UTF8, reinterpret_cast<const unsigned char*>(host.c_str()), -1, -1,
                             0);
  X509_set_issuer_name(certificate.get(), subject);
  extend(certificate.get(), NID_basic_constraints, "critical,CA:TRUE");
  extend(certificate.get(), NID_subject_alt_name, "DNS:" + host);
  require(X509_sign(certificate.get(), pair.get(), EVP_sha256()) > 0);
  write(certFile, [&](FILE* file) { return PEM_write_X509(file, certificate.get()); });
  write(keyFile,
        [&](FILE* file) { return PEM_write_PrivateKey(file, pair.get(), nullptr, nullptr, 0, nullptr, nullptr); });
}

}  // namespace zul::test
