#include "support/TestAuthority.h"

#include <openssl/ec.h>
#include <openssl/pem.h>
#include <openssl/x509v3.h>

#include <cstdio>
#include <stdexcept>

namespace zentara::test {

namespace {

void require(bool condition, const char* what) {
    if (!condition) throw std::runtime_error(what);
}

/// A certificate without extensions, valid from an hour ago until tomorrow.
TestCertificate makeCertificate(const char* commonName, const X509* issuer) {
    static long serial = 0;
    TestCertificate made;
    made.key.reset(::EVP_PKEY_Q_keygen(nullptr, nullptr, "EC", "P-256"));
    made.certificate.reset(::X509_new());
    X509* const certificate = made.certificate.get();
    require(made.key && certificate != nullptr, "no certificate can be made");
    ::X509_set_version(certificate, X509_VERSION_3);
    ::ASN1_INTEGER_set(::X509_get_serialNumber(certificate), ++serial);
    ::X509_gmtime_adj(::X509_getm_notBefore(certificate), -60L * 60);
    ::X509_gmtime_adj(::X509_getm_notAfter(certificate), 24L * 60 * 60);
    ::X509_NAME* const name = ::X509_get_subject_name(certificate);
    ::X509_NAME_add_entry_by_txt(name, "CN", MBSTRING_ASC,
                                 reinterpret_cast<const unsigned char*>(commonName), -1, -1, 0);
    ::X509_set_issuer_name(certificate, issuer == nullptr ? name : ::X509_get_subject_name(issuer));
    ::X509_set_pubkey(certificate, made.key.get());
    return made;
}

void addExtension(X509* certificate, int kind, const std::string& value) {
    X509V3_CTX context{};
    X509V3_set_ctx(&context, certificate, certificate, nullptr, nullptr, 0);
    X509_EXTENSION* const extension = ::X509V3_EXT_conf_nid(nullptr, &context, kind, value.c_str());
    require(extension != nullptr, "a certificate extension is malformed");
    ::X509_add_ext(certificate, extension, -1);
    ::X509_EXTENSION_free(extension);
}

}  // namespace

TestAuthority::TestAuthority()
    : own_(makeCertificate(directory_.path().filename().c_str(), nullptr)) {
    X509* const certificate = own_.certificate.get();
    addExtension(certificate, NID_basic_constraints, "critical,CA:TRUE");
    addExtension(certificate, NID_key_usage, "critical,keyCertSign");
    require(::X509_sign(certificate, own_.key.get(), ::EVP_sha256()) > 0, "cannot sign");

    std::FILE* const pem = std::fopen(file().c_str(), "w");
    require(pem != nullptr, "cannot write the authority's file");
    ::PEM_write_X509(pem, certificate);
    std::fclose(pem);
}

TestCertificate TestAuthority::issue(const std::vector<std::string>& alternativeNames,
                                     Validity validity) const {
    TestCertificate issued = makeCertificate("Test server", own_.certificate.get());
    if (validity == Validity::expired) {
        ::X509_gmtime_adj(::X509_getm_notAfter(issued.certificate.get()), -60);
    }
    std::string names;
    for (const auto& name : alternativeNames)
        names += (names.empty() ? "" : ",") + name;
    addExtension(issued.certificate.get(), NID_subject_alt_name, names);
    require(::X509_sign(issued.certificate.get(), own_.key.get(), ::EVP_sha256()) > 0,
            "cannot sign");
    return issued;
}

}  // namespace zentara::test
