#include "collector/http/LocalAuthority.h"

#include <openssl/x509v3.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <ctime>
#include <stdexcept>
#include <utility>

#include "collector/http/Certificate.h"
#include "collector/http/PrivateFolder.h"

namespace zentara::collector {

namespace {

using Access = PrivateFolder::Access;

constexpr const char* certificateName = "ca.pem";
constexpr const char* keyName = "ca-key.pem";
constexpr int authorityDays = 3650;
constexpr int serverDays = 397;  // the most that browsers take

std::string commonName() {
    std::array<char, 256> host{};
    ::gethostname(host.data(), host.size() - 1);
    constexpr std::size_t longest = 64;
    std::string name = "ZentaraClient collector on " + std::string(host.data());
    return name.substr(0, longest);
}

/// Whether what is issued now would outlive its authority.
bool endsSoon(const X509* certificate) {
    std::time_t then = std::time(nullptr) + (serverDays + 1) * 24L * 60 * 60;
    return ::X509_cmp_time(::X509_get0_notAfter(certificate), &then) <= 0;
}

}  // namespace

LocalAuthority::LocalAuthority(const std::filesystem::path& folder)
    : certificateFile_(folder / certificateName), own_(std::make_unique<Certificate>()) {
    const PrivateFolder files(folder);
    const auto certificate = files.read(certificateName, Access::everyone);
    if (certificate) {
        const auto damaged = [](const std::filesystem::path& file, const std::string& reason) {
            return std::runtime_error(file.string() + ": " + reason +
                                      "; to start anew, remove the files of the authority");
        };
        const auto keyFile = folder / keyName;
        own_->certificate = readCertificate(*certificate);
        if (!own_->certificate || ::X509_check_ca(own_->certificate.get()) == 0) {
            throw damaged(certificateFile_, "is not the certificate of an authority");
        }
        const auto key = files.read(keyName, Access::owner);
        if (!key) throw damaged(keyFile, "is missing");
        own_->key = readKey(*key);
        if (!own_->key) throw damaged(keyFile, "is not a private key");
        if (::X509_check_private_key(own_->certificate.get(), own_->key.get()) != 1) {
            throw damaged(keyFile, "does not belong to " + certificateFile_.string());
        }
        if (!endsSoon(own_->certificate.get())) return;
    }

    // The certificate goes first and comes last: nobody ever finds it with the key of another.
    *own_ = makeAuthority(commonName(), authorityDays);
    files.remove(certificateName);
    files.write(keyName, own_->keyText(), Access::owner);
    files.write(certificateName, own_->certificateText(), Access::everyone);
    isNew_ = true;
}

LocalAuthority::~LocalAuthority() = default;

TLSCredentials LocalAuthority::issue(const std::vector<std::string>& names) const {
    std::vector<std::string> all{"localhost", "127.0.0.1", "::1"};
    for (const auto& name : names) {
        // Addresses to listen on, under which nobody asks for a server.
        if (name == "0.0.0.0" || name == "::") continue;
        if (std::find(all.begin(), all.end(), name) == all.end()) all.push_back(name);
    }
    try {
        const Certificate issued =
            makeServerCertificate(*own_, "ZentaraClient collector", all, serverDays);
        return {issued.certificateText(), issued.keyText()};
    } catch (const std::runtime_error& error) {
        std::string listed;
        for (const auto& name : all)
            listed += (listed.empty() ? "" : ", ") + name;
        throw std::runtime_error("the authority " + certificateFile_.string() +
                                 " cannot issue a certificate for " + listed + ": " + error.what());
    }
}

}  // namespace zentara::collector
