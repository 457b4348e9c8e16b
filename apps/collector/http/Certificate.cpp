#include "collector/http/Certificate.h"

#include <arpa/inet.h>
#include <openssl/bn.h>
#include <openssl/ec.h>
#include <openssl/err.h>
#include <openssl/pem.h>
#include <openssl/x509v3.h>

#include <array>
#include <stdexcept>

namespace zentara::collector {

namespace {

template <auto release>
struct Releasing {
    template <typename Object>
    void operator()(Object* object) const noexcept {
        release(object);
    }
};
template <typename Object, auto release>
using Owned = std::unique_ptr<Object, Releasing<release>>;

using OwnedText = Owned<BIO, &::BIO_free_all>;

// Clocks differ; a certificate must not begin in a client's future.
constexpr long clockTolerance = 60L * 60;
constexpr long secondsPerDay = 24L * 60 * 60;
constexpr int serialBits = 159;

/// Limits what a stolen key of the authority can be used for.
constexpr const char* permittedNames =
    "critical,"
    "permitted;DNS:localhost,permitted;DNS:local,permitted;DNS:test,"
    "permitted;IP:127.0.0.0/255.0.0.0,"
    "permitted;IP:::1/ffff:ffff:ffff:ffff:ffff:ffff:ffff:ffff,"
    "permitted;IP:10.0.0.0/255.0.0.0,"
    "permitted;IP:172.16.0.0/255.240.0.0,"
    "permitted;IP:192.168.0.0/255.255.0.0";

void require(bool isDone, const char* what) {
    if (isDone) return;
    std::array<char, 256> reason{};
    ::ERR_error_string_n(::ERR_get_error(), reason.data(), reason.size());
    throw std::runtime_error(std::string(what) + ": " + reason.data());
}

Certificate makeUnsigned(const std::string& commonName, const X509* issuer, int days) {
    Certificate result;
    result.key.reset(::EVP_PKEY_Q_keygen(nullptr, nullptr, "EC", "P-256"));
    result.certificate.reset(::X509_new());
    require(result.key && result.certificate, "no key can be made");

    X509* const certificate = result.certificate.get();
    const Owned<BIGNUM, &::BN_free> serial(::BN_new());
    X509_NAME* const name = ::X509_get_subject_name(certificate);
    require(
        serial && ::BN_rand(serial.get(), serialBits, BN_RAND_TOP_ONE, BN_RAND_BOTTOM_ANY) == 1 &&
            ::BN_to_ASN1_INTEGER(serial.get(), ::X509_get_serialNumber(certificate)) != nullptr &&
            ::X509_set_version(certificate, X509_VERSION_3) == 1 &&
            ::X509_gmtime_adj(::X509_getm_notBefore(certificate), -clockTolerance) != nullptr &&
            ::X509_gmtime_adj(::X509_getm_notAfter(certificate), days * secondsPerDay) != nullptr &&
            ::X509_NAME_add_entry_by_txt(name, "CN", MBSTRING_UTF8,
                                         reinterpret_cast<const unsigned char*>(commonName.data()),
                                         static_cast<int>(commonName.size()), -1, 0) == 1 &&
            ::X509_set_issuer_name(
                certificate, issuer == nullptr ? name : ::X509_get_subject_name(issuer)) == 1 &&
            ::X509_set_pubkey(certificate, result.key.get()) == 1,
        "no certificate can be made");
    return result;
}

void addExtension(X509* certificate, X509* issuer, int kind, const char* value) {
    X509V3_CTX context{};
    X509V3_set_ctx(&context, issuer, certificate, nullptr, nullptr, 0);
    const Owned<X509_EXTENSION, &::X509_EXTENSION_free> extension(
        ::X509V3_EXT_conf_nid(nullptr, &context, kind, value));
    require(extension && ::X509_add_ext(certificate, extension.get(), -1) == 1,
            "no certificate can be made");
}

bool isHostName(const std::string& name) {
    constexpr const char* allowed =
        "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789-.";
    return !name.empty() && name.size() <= 253 && name.front() != '.' && name.front() != '-' &&
           name.find_first_not_of(allowed) == std::string::npos;
}

/// As OpenSSL spells a subject alternative name.
std::string alternativeName(const std::string& name) {
    std::array<unsigned char, sizeof(in6_addr)> address{};
    if (::inet_pton(AF_INET, name.c_str(), address.data()) == 1 ||
        ::inet_pton(AF_INET6, name.c_str(), address.data()) == 1) {
        return "IP:" + name;
    }
    if (!isHostName(name)) {
        throw std::runtime_error("\"" + name + "\" is neither a host name nor an IP address");
    }
    return "DNS:" + name;
}

/// Clients reject the whole certificate if the authority may not vouch for one of its names.
void check(X509* certificate, X509* authority) {
    const Owned<X509_STORE, &::X509_STORE_free> trusted(::X509_STORE_new());
    const Owned<X509_STORE_CTX, &::X509_STORE_CTX_free> context(::X509_STORE_CTX_new());
    require(trusted && context && ::X509_STORE_add_cert(trusted.get(), authority) == 1 &&
                ::X509_STORE_CTX_init(context.get(), trusted.get(), certificate, nullptr) == 1,
            "no certificate can be checked");
    if (::X509_verify_cert(context.get()) == 1) return;
    const int reason = ::X509_STORE_CTX_get_error(context.get());
    throw std::runtime_error(reason == X509_V_ERR_PERMITTED_VIOLATION
                                 ? "it vouches for loopback and private addresses and for names "
                                   "under localhost, local and test only"
                                 : ::X509_verify_cert_error_string(reason));
}

template <typename Write>
std::string textOf(const Write& write) {
    const OwnedText text(::BIO_new(::BIO_s_mem()));
    require(text && write(text.get()) == 1, "no certificate can be written");
    char* bytes = nullptr;
    const long size = ::BIO_get_mem_data(text.get(), &bytes);
    return {bytes, static_cast<std::size_t>(size)};
}

OwnedText reading(const std::string& text) {
    return OwnedText(::BIO_new_mem_buf(text.data(), static_cast<int>(text.size())));
}

/// Fails for an encrypted key instead of asking at the terminal.
int noPassphrase(char*, int, int, void*) {
    return -1;
}

}  // namespace

std::string Certificate::certificateText() const {
    return textOf([this](BIO* text) { return ::PEM_write_bio_X509(text, certificate.get()); });
}

std::string Certificate::keyText() const {
    return textOf([this](BIO* text) {
        return ::PEM_write_bio_PrivateKey(text, key.get(), nullptr, nullptr, 0, nullptr, nullptr);
    });
}

std::unique_ptr<X509, Certificate::Cleanup> readCertificate(const std::string& text) {
    std::unique_ptr<X509, Certificate::Cleanup> read(
        ::PEM_read_bio_X509(reading(text).get(), nullptr, noPassphrase, nullptr));
    ::ERR_clear_error();
    return read;
}

std::unique_ptr<EVP_PKEY, Certificate::Cleanup> readKey(const std::string& text) {
    std::unique_ptr<EVP_PKEY, Certificate::Cleanup> read(
        ::PEM_read_bio_PrivateKey(reading(text).get(), nullptr, noPassphrase, nullptr));
    ::ERR_clear_error();
    return read;
}

Certificate makeAuthority(const std::string& commonName, int days) {
    Certificate result = makeUnsigned(commonName, nullptr, days);
    X509* const certificate = result.certificate.get();
    addExtension(certificate, certificate, NID_basic_constraints, "critical,CA:TRUE,pathlen:0");
    addExtension(certificate, certificate, NID_key_usage, "critical,keyCertSign");
    addExtension(certificate, certificate, NID_name_constraints, permittedNames);
    addExtension(certificate, certificate, NID_subject_key_identifier, "hash");
    require(::X509_sign(certificate, result.key.get(), ::EVP_sha256()) > 0, "cannot sign");
    return result;
}

Certificate makeServerCertificate(const Certificate& authority, const std::string& commonName,
                                  const std::vector<std::string>& names, int days) {
    Certificate result = makeUnsigned(commonName, authority.certificate.get(), days);
    X509* const certificate = result.certificate.get();
    X509* const issuer = authority.certificate.get();
    std::string alternatives;
    for (const auto& name : names)
        alternatives += (alternatives.empty() ? "" : ",") + alternativeName(name);
    addExtension(certificate, issuer, NID_basic_constraints, "critical,CA:FALSE");
    addExtension(certificate, issuer, NID_key_usage, "critical,digitalSignature");
    addExtension(certificate, issuer, NID_ext_key_usage, "serverAuth");
    addExtension(certificate, issuer, NID_subject_alt_name, alternatives.c_str());
    addExtension(certificate, issuer, NID_subject_key_identifier, "hash");
    addExtension(certificate, issuer, NID_authority_key_identifier, "keyid:always");
    require(::X509_sign(certificate, authority.key.get(), ::EVP_sha256()) > 0, "cannot sign");
    check(certificate, issuer);
    return result;
}

}  // namespace zentara::collector
