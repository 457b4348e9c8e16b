#include "collector/http/CertificateFiles.h"

#include <sys/stat.h>

#include <stdexcept>
#include <utility>

#include "platform/FileSystem.h"

namespace zentara::collector {

namespace {

std::string textOf(const std::filesystem::path& file) {
    auto contents = systemFiles().read(file);
    if (!contents.ok()) throw std::runtime_error(contents.error()->description());
    return *std::move(contents);
}

std::string signatureOf(const std::filesystem::path& file) {
    struct stat status {};
    if (::stat(file.c_str(), &status) != 0) return "none";
    return std::to_string(status.st_dev) + "." + std::to_string(status.st_ino) + "." +
           std::to_string(status.st_size) + "." + std::to_string(status.st_mtim.tv_sec) + "." +
           std::to_string(status.st_mtim.tv_nsec);
}

}  // namespace

CertificateFiles::CertificateFiles(std::filesystem::path certificate, std::filesystem::path key)
    : certificate_(std::move(certificate)), key_(std::move(key)) {}

TLSCredentials CertificateFiles::read() {
    seen_ = read_ = signature();
    return {textOf(certificate_), textOf(key_)};
}

bool CertificateFiles::haveChanged() {
    const std::string before = std::exchange(seen_, signature());
    return seen_ == before && seen_ != read_;
}

std::string CertificateFiles::signature() const {
    return signatureOf(certificate_) + " " + signatureOf(key_);
}

}  // namespace zentara::collector
