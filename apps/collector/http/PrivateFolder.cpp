#include "collector/http/PrivateFolder.h"

#include <fcntl.h>
#include <stdlib.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <cstdio>
#include <stdexcept>
#include <string_view>
#include <system_error>
#include <utility>

namespace zentara::collector {

namespace {

constexpr std::size_t largestFile = 64UL * 1024;

[[noreturn]] void fail(const std::filesystem::path& file, const std::string& reason) {
    throw std::runtime_error(file.string() + ": " + reason);
}

[[noreturn]] void fail(const std::filesystem::path& file) {
    fail(file, std::system_category().message(errno));
}

class Descriptor {
  public:
    explicit Descriptor(int number) : number_(number) {}
    ~Descriptor() {
        if (number_ >= 0) ::close(number_);
    }
    Descriptor(const Descriptor&) = delete;
    Descriptor& operator=(const Descriptor&) = delete;

    [[nodiscard]] int number() const noexcept { return number_; }

  private:
    int number_;
};

void writeAll(const Descriptor& file, std::string_view bytes, const std::filesystem::path& name) {
    while (!bytes.empty()) {
        const ssize_t count = ::write(file.number(), bytes.data(), bytes.size());
        if (count < 0 && errno == EINTR) continue;
        if (count < 0) fail(name);
        bytes.remove_prefix(static_cast<std::size_t>(count));
    }
}

}  // namespace

PrivateFolder::PrivateFolder(std::filesystem::path folder) : folder_(std::move(folder)) {
    std::error_code error;
    if (folder_.has_parent_path())
        std::filesystem::create_directories(folder_.parent_path(), error);
    if (::mkdir(folder_.c_str(), S_IRWXU) != 0 && errno != EEXIST) fail(folder_);

    const auto file = folder_ / "lock";
    lock_ = ::open(file.c_str(), O_RDWR | O_CREAT | O_NOFOLLOW | O_CLOEXEC, S_IRUSR | S_IWUSR);
    if (lock_ < 0) fail(file);
    while (::flock(lock_, LOCK_EX) != 0) {
        if (errno == EINTR) continue;
        const int reason = errno;
        ::close(lock_);
        errno = reason;
        fail(file);
    }
}

PrivateFolder::~PrivateFolder() {
    ::close(lock_);
}

std::optional<std::string> PrivateFolder::read(const std::string& name, Access access) const {
    const auto path = folder_ / name;
    // Not waiting, for what is there may be a pipe.
    const Descriptor file(::open(path.c_str(), O_RDONLY | O_NOFOLLOW | O_CLOEXEC | O_NONBLOCK));
    if (file.number() < 0) {
        if (errno == ENOENT) return std::nullopt;
        if (errno == ELOOP) fail(path, "is a symbolic link");
        fail(path);
    }
    struct stat facts {};
    if (::fstat(file.number(), &facts) != 0) fail(path);
    if (!S_ISREG(facts.st_mode)) fail(path, "is not a file");
    if (access == Access::owner && (facts.st_mode & (S_IRWXG | S_IRWXO)) != 0) {
        fail(path, "can be read by others; it is to be for its owner only (mode 600)");
    }
    std::string content;
    std::array<char, 4096> buffer{};
    for (;;) {
        const ssize_t count = ::read(file.number(), buffer.data(), buffer.size());
        if (count < 0 && errno == EINTR) continue;
        if (count < 0) fail(path);
        if (count == 0) return content;
        content.append(buffer.data(), static_cast<std::size_t>(count));
        if (content.size() > largestFile) fail(path, "is too large");
    }
}

void PrivateFolder::write(const std::string& name, const std::string& content,
                          Access access) const {
    const auto path = folder_ / name;
    std::string temporary = path.string() + ".XXXXXX";
    const Descriptor file(::mkostemp(temporary.data(), O_CLOEXEC));
    if (file.number() < 0) fail(path);
    try {
        writeAll(file, content, path);
        const mode_t mode = access == Access::owner ? 0600 : 0644;
        if (::fchmod(file.number(), mode) != 0 || ::fsync(file.number()) != 0 ||
            ::rename(temporary.c_str(), path.c_str()) != 0) {
            fail(path);
        }
    } catch (...) {
        ::unlink(temporary.c_str());
        throw;
    }
    const Descriptor folder(::open(folder_.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
    if (folder.number() >= 0) ::fsync(folder.number());
}

void PrivateFolder::remove(const std::string& name) const {
    const auto path = folder_ / name;
    if (::unlink(path.c_str()) != 0 && errno != ENOENT) fail(path);
}

}  // namespace zentara::collector
