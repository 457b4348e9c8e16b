#include "collector/http/LocalAuthority.h"

#include <fcntl.h>
#include <openssl/x509v3.h>
#include <sys/file.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <ctime>
#include <optional>
#include <span>
#include <stdexcept>
#include <string_view>
#include <system_error>
#include <utility>

#include "collector/http/Certificate.h"
#include "platform/FileSystem.h"

namespace zentara::collector {

namespace {

using std::filesystem::path;
using std::filesystem::perms;

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

/// Whether a certificate issued now would outlive its authority.
bool endsSoon(const X509* certificate) {
    std::time_t then = std::time(nullptr) + (serverDays + 1) * 24L * 60 * 60;
    return ::X509_cmp_time(::X509_get0_notAfter(certificate), &then) <= 0;
}

std::runtime_error problem(const path& file, const std::string& reason) {
    return std::runtime_error(file.string() + ": " + reason);
}

void require(const Status& status) {
    if (!status.ok()) throw std::runtime_error(status.error()->description());
}

/// Keeps other processes out of a folder, which is made if it is missing. Waits for its turn.
class FolderLock {
  public:
    explicit FolderLock(const path& folder) {
        require(makeFolder(folder));
        const path file = folder / "lock";
        descriptor_ = ::open(file.c_str(), O_RDWR | O_CREAT | O_NOFOLLOW | O_CLOEXEC, 0600);
        int result = descriptor_;
        while (result >= 0 && (result = ::flock(descriptor_, LOCK_EX)) != 0 && errno == EINTR)
            result = 0;
        if (result == 0) return;
        const int code = errno;
        if (descriptor_ >= 0) ::close(descriptor_);
        throw problem(file, std::generic_category().message(code));
    }
    ~FolderLock() { ::close(descriptor_); }
    FolderLock(const FolderLock&) = delete;
    FolderLock& operator=(const FolderLock&) = delete;

  private:
    int descriptor_ = -1;
};

/// Nothing if there is no file.
std::optional<std::string> read(const path& file) {
    if (std::filesystem::is_symlink(file)) throw problem(file, "is a symbolic link");
    auto contents = systemFiles().read(file);
    if (isMissing(contents.status())) return std::nullopt;
    require(contents.status());
    return *std::move(contents);
}

/// Replaces a file as a whole: after a crash it has the old content or the new content.
void write(const path& file, std::string_view content, perms access) {
    const path temporary = file.string() + ".new";
    const auto written = systemFiles().create(temporary);
    require(written.status());
    require((*written)->write(std::span(&content, 1), 0));
    std::filesystem::permissions(temporary, access);
    require((*written)->flush());
    require(systemFiles().rename(temporary, file));
    require(systemFiles().flushFolder(file.parent_path()));
}

}  // namespace

LocalAuthority::LocalAuthority(const path& folder)
    : certificateFile_(folder / certificateName), own_(std::make_unique<Certificate>()) {
    const FolderLock lock(folder);
    const path keyFile = folder / keyName;
    if (const auto certificate = read(certificateFile_)) {
        const auto damaged = [](const path& file, const std::string& reason) {
            return problem(file, reason + "; to start anew, remove the files of the authority");
        };
        own_->certificate = readCertificate(*certificate);
        if (!own_->certificate || ::X509_check_ca(own_->certificate.get()) == 0) {
            throw damaged(certificateFile_, "is not the certificate of an authority");
        }
        const auto key = read(keyFile);
        if (!key) throw damaged(keyFile, "is missing");
        constexpr perms others = perms::group_all | perms::others_all;
        if ((std::filesystem::status(keyFile).permissions() & others) != perms::none) {
            throw problem(keyFile, "can be read by others; only its owner may read it (mode 600)");
        }
        own_->key = readKey(*key);
        if (!own_->key) throw damaged(keyFile, "is not a private key");
        if (::X509_check_private_key(own_->certificate.get(), own_->key.get()) != 1) {
            throw damaged(keyFile, "does not belong to " + certificateFile_.string());
        }
        if (!endsSoon(own_->certificate.get())) return;
    }

    // Removed first and written last, the certificate never stands beside the key of another.
    *own_ = makeAuthority(commonName(), authorityDays);
    require(systemFiles().remove(certificateFile_));
    constexpr perms ownerOnly = perms::owner_read | perms::owner_write;
    write(keyFile, own_->keyText(), ownerOnly);
    write(certificateFile_, own_->certificateText(),
          ownerOnly | perms::group_read | perms::others_read);
    isNew_ = true;
}

LocalAuthority::~LocalAuthority() = default;

TLSCredentials LocalAuthority::issue(const std::vector<std::string>& names) const {
    std::vector<std::string> all{"localhost", "127.0.0.1", "::1"};
    for (const auto& name : names) {
        // Addresses to listen on; no client asks for a server under them.
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
