#include "platform/posix/SystemFiles.h"

#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <sys/uio.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <map>
#include <numeric>
#include <system_error>
#include <utility>

#include "platform/FileSystem.h"
#include "support/Mutex.h"
#include "support/NoDestructor.h"
#include "support/PlatformError.h"

namespace zentara {

namespace {

using Path = std::filesystem::path;

constexpr mode_t privateFile = 0600;
constexpr mode_t privateFolder = 0700;

Status failure(int code, std::string operation) {
    return std::make_shared<PlatformError>(
        PlatformError::Domain::file, code,
        std::move(operation) + ": " + std::generic_category().message(code));
}

Status failure(int code, const char* operation, const Path& path) {
    return failure(code, std::string(operation) + " '" + path.string() + "'");
}

template <typename Call>
auto retried(Call call) {
    auto result = call();
    while (result < 0 && errno == EINTR)
        result = call();
    return result;
}

/// Whether a flush failed because the file system has none, so that it will never succeed there.
bool hasNoFlush(int code) noexcept {
    return code == EINVAL || code == EROFS || code == EOPNOTSUPP || code == ENOSYS;
}

FileState stateOf(const struct stat& status) {
    const auto kind = S_ISREG(status.st_mode)   ? FileState::Kind::regular
                      : S_ISDIR(status.st_mode) ? FileState::Kind::folder
                                                : FileState::Kind::other;
    return {{status.st_dev, status.st_ino},
            kind,
            status.st_nlink,
            static_cast<std::uint64_t>(status.st_size),
            status.st_mtim.tv_sec,
            status.st_mtim.tv_nsec};
}

class Descriptor {
  public:
    explicit Descriptor(int descriptor) : descriptor_(descriptor) {}
    ~Descriptor() {
        if (descriptor_ >= 0) ::close(descriptor_);
    }
    Descriptor(Descriptor&& other) noexcept : descriptor_(std::exchange(other.descriptor_, -1)) {}
    Descriptor& operator=(Descriptor&& other) noexcept {
        std::swap(descriptor_, other.descriptor_);
        return *this;
    }

    [[nodiscard]] int operator*() const noexcept { return descriptor_; }

  private:
    int descriptor_;
};

class SystemFile final : public File {
  public:
    explicit SystemFile(Descriptor descriptor) : descriptor_(std::move(descriptor)) {}

    Status write(std::span<const std::string_view> parts, std::uint64_t offset) override {
        const auto size = std::accumulate(
            parts.begin(), parts.end(), offset,
            [](std::uint64_t sum, std::string_view part) { return sum + part.size(); });
        if (size > maximumFileSize) {
            return std::make_shared<PlatformError>(
                PlatformError::Domain::file, EFBIG,
                "the file would be larger than " + std::to_string(maximumFileSize >> 20U) + " MiB");
        }
        std::size_t written = 0;  // of the first part
        while (!parts.empty()) {
            const auto result = writeSome(parts, written, offset);
            if (result < 0) return failure(errno, "cannot write");
            const auto left = parts.size();
            offset += static_cast<std::uint64_t>(result);
            written += static_cast<std::size_t>(result);
            while (!parts.empty() && written >= parts.front().size()) {
                written -= parts.front().size();
                parts = parts.subspan(1);
            }
            if (result == 0 && parts.size() == left) return failure(EIO, "cannot write");
        }
        return {};
    }

    Status truncate(std::uint64_t size) override {
        const auto result =
            retried([&] { return ::ftruncate(*descriptor_, static_cast<off_t>(size)); });
        return result == 0 ? Status() : failure(errno, "cannot truncate");
    }

    Status flush() override {
        if (retried([&] { return ::fdatasync(*descriptor_); }) == 0 || hasNoFlush(errno)) return {};
        return failure(errno, "cannot flush");
    }

    std::optional<FileState> state() const noexcept override {
        struct stat status {};
        if (::fstat(*descriptor_, &status) != 0) return std::nullopt;
        return stateOf(status);
    }

  private:
    /// Writes as many of the parts, but for `skipped` bytes, as the system takes in one call.
    [[nodiscard]] ssize_t writeSome(std::span<const std::string_view> parts, std::size_t skipped,
                                    std::uint64_t offset) const {
        constexpr std::size_t most = 1024;
        std::array<iovec, most> vectors;
        const auto count = std::min(parts.size(), most);
        for (std::size_t i = 0; i < count; ++i) {
            vectors[i] = {const_cast<char*>(parts[i].data()) + skipped, parts[i].size() - skipped};
            skipped = 0;
        }
        return retried([&] {
            return ::pwritev(*descriptor_, vectors.data(), static_cast<int>(count),
                             static_cast<off_t>(offset));
        });
    }

    const Descriptor descriptor_;
};

Result<std::unique_ptr<File>> fileOf(Descriptor descriptor) {
    return std::unique_ptr<File>(std::make_unique<SystemFile>(std::move(descriptor)));
}

Descriptor openNew(const Path& path) {
    constexpr int flags = O_RDWR | O_CREAT | O_EXCL | O_CLOEXEC | O_NOFOLLOW;
    const auto attempt = [&] {
        return retried([&] { return ::open(path.c_str(), flags, privateFile); });
    };
    int descriptor = attempt();
    if (descriptor < 0 && errno == EEXIST) {
        ::unlink(path.c_str());
        descriptor = attempt();
    }
    return Descriptor(descriptor);
}

struct Claim {
    FolderClaim answer = FolderClaim::unknown;
    Descriptor lock = Descriptor(-1);  ///< of the locked file, while the claim is held
};

Descriptor openLockFile(const Path& path) {
    constexpr int flags = O_RDWR | O_CREAT | O_CLOEXEC | O_NOFOLLOW | O_NONBLOCK;
    int descriptor = ::open(path.c_str(), flags, privateFile);
    if (descriptor < 0 && errno == ENOENT) {
        static_cast<void>(makeFolder(path.parent_path()));
        descriptor = ::open(path.c_str(), flags, privateFile);
    }
    return Descriptor(descriptor);
}

/// Whether the name still stands for the open file. Between opening and locking it, another process
/// may have released the folder, and a third process may have made a new file.
bool isInPlace(const Descriptor& descriptor, const Path& path) {
    struct stat opened {};
    struct stat named {};
    return ::fstat(*descriptor, &opened) == 0 && ::lstat(path.c_str(), &named) == 0 &&
           opened.st_dev == named.st_dev && opened.st_ino == named.st_ino;
}

Claim claimByLock(const Path& path) {
    // A second turn means that another process has just released the folder.
    for (int turn = 0; turn < 100; ++turn) {
        auto descriptor = openLockFile(path);
        if (*descriptor < 0) {
            const bool isForNow = errno == EMFILE || errno == ENFILE || errno == ENOMEM;
            return {isForNow ? FolderClaim::heldElsewhere : FolderClaim::unknown};
        }
        if (retried([&] { return ::flock(*descriptor, LOCK_EX | LOCK_NB); }) != 0)
            return {errno == EWOULDBLOCK ? FolderClaim::heldElsewhere : FolderClaim::unknown};
        if (isInPlace(descriptor, path)) {
            closeInForkedChildren(*descriptor);
            return {FolderClaim::held, std::move(descriptor)};
        }
    }
    return {FolderClaim::heldElsewhere};
}

class SystemFiles final : public FileSystem {
  public:
    Result<std::unique_ptr<File>> create(const Path& path) override {
        auto descriptor = openNew(path);
        if (*descriptor < 0 && errno == ENOENT) {
            if (auto made = makeFolder(path.parent_path()); !made.ok()) return made;
            descriptor = openNew(path);
        }
        return *descriptor < 0 ? failure(errno, "cannot create", path)
                               : fileOf(std::move(descriptor));
    }

    Result<std::unique_ptr<File>> open(const Path& path) override {
        Descriptor descriptor(retried(
            [&] { return ::open(path.c_str(), O_RDWR | O_CLOEXEC | O_NOFOLLOW | O_NONBLOCK); }));
        if (*descriptor < 0) return failure(errno, "cannot open", path);
        struct stat status {};
        ::fstat(*descriptor, &status);
        if (!S_ISREG(status.st_mode)) return failure(EINVAL, "cannot open", path);
        // A file system that knows no permissions keeps what it has.
        if ((status.st_mode & 0077U) != 0) static_cast<void>(::fchmod(*descriptor, privateFile));
        return fileOf(std::move(descriptor));
    }

    Result<std::string> read(const Path& path) override {
        // Not blocking: otherwise a pipe in place of the file would block the caller.
        const Descriptor descriptor(
            retried([&] { return ::open(path.c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK); }));
        if (*descriptor >= 0) return readAll(*descriptor, path);
        const int code = errno;
        // Without a free descriptor, the system does not check whether the file exists.
        struct stat status {};
        const bool isThere = ::lstat(path.c_str(), &status) == 0;
        const bool isKnownMissing = !isThere && (errno == ENOENT || errno == ENOTDIR);
        return failure(isKnownMissing ? errno : code, "cannot open", path);
    }

    std::optional<FileState> state(const Path& path) const noexcept override {
        struct stat status {};
        if (::lstat(path.c_str(), &status) != 0) return std::nullopt;
        return stateOf(status);
    }

    Result<std::vector<std::string>> names(const Path& folder) const override {
        std::vector<std::string> found;
        std::error_code error;
        for (std::filesystem::directory_iterator entry(folder, error), end; !error && entry != end;
             entry.increment(error)) {
            found.push_back(entry->path().filename().string());
        }
        if (error && !isMissing(failure(error.value(), "")))
            return failure(error.value(), "cannot read", folder);
        return found;
    }

    Status rename(const Path& from, const Path& to) override {
        if (::rename(from.c_str(), to.c_str()) == 0) return {};
        return failure(errno, "cannot rename", from);
    }

    Status exchange(const Path& one, const Path& other) override {
        if (exchangeNames(one.c_str(), other.c_str()) == 0) return {};
        return failure(errno, "cannot exchange", one);
    }

    Status remove(const Path& path) override {
        if (::unlink(path.c_str()) == 0) return {};
        const int code = errno;
        // On a file system that is read-only, also without a file.
        return state(path) ? failure(code, "cannot remove", path) : Status();
    }

    Status flushFolder(const Path& folder) override {
        const Descriptor descriptor(
            retried([&] { return ::open(folder.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC); }));
        if (*descriptor < 0) return failure(errno, "cannot open", folder);
        // Some file systems flush only what was opened for writing, which no folder is.
        if (retried([&] { return ::fsync(*descriptor); }) == 0 || errno == EBADF ||
            hasNoFlush(errno)) {
            return {};
        }
        return failure(errno, "cannot flush", folder);
    }

    FolderClaim claim(const Path& folder) override {
        const MutexLock lock(mutex_);
        const auto [entry, isNew] = claims_.try_emplace(lockFile(folder));
        if (isNew) entry->second = claimByLock(entry->first);
        return entry->second.answer;
    }

    void release(const Path& folder) override {
        const MutexLock lock(mutex_);
        const auto entry = claims_.extract(lockFile(folder));
        if (!entry || *entry.mapped().lock < 0) return;
        // Removed while the lock is held, so that the file is this process's. A process that
        // waits for the lock then sees that the file is not in place any more.
        ::unlink(entry.key().c_str());
        ::rmdir(folder.c_str());
        keepInForkedChildren(*entry.mapped().lock);
    }

    std::string bootIdentity() const override { return zentara::bootIdentity(); }

  private:
    [[nodiscard]] static Path lockFile(const Path& folder) {
        return (folder / claimName).lexically_normal();
    }

    [[nodiscard]] static Result<std::string> readAll(int descriptor, const Path& path) {
        struct stat status {};
        if (::fstat(descriptor, &status) != 0) return failure(errno, "cannot read", path);
        if (S_ISDIR(status.st_mode)) return failure(EISDIR, "cannot read", path);
        if (!S_ISREG(status.st_mode)) return failure(ENXIO, "cannot read", path);
        if (static_cast<std::uint64_t>(status.st_size) > maximumFileSize)
            return failure(EFBIG, "cannot read", path);
        std::string bytes;
        // Parsers need some room behind the text; reserving it now avoids a copy later.
        constexpr std::size_t room = 256;
        bytes.reserve(static_cast<std::size_t>(status.st_size) + room);
        bytes.resize(static_cast<std::size_t>(status.st_size));
        std::size_t filled = 0;
        while (filled < bytes.size()) {
            const auto count = retried(
                [&] { return ::read(descriptor, bytes.data() + filled, bytes.size() - filled); });
            if (count < 0) return failure(errno, "cannot read", path);
            if (count == 0) break;
            filled += static_cast<std::size_t>(count);
        }
        bytes.resize(filled);
        return bytes;
    }

    Mutex mutex_;
    std::map<Path, Claim> claims_ ZENTARA_GUARDED_BY(mutex_);  // by the locked file
};

}  // namespace

Status makeFolder(const Path& folder) {
    if (folder.empty() || ::mkdir(folder.c_str(), privateFolder) == 0) return {};
    const auto parent = folder.parent_path();
    if (errno == ENOENT && parent != folder) {
        if (auto made = makeFolder(parent); !made.ok()) return made;
        if (::mkdir(folder.c_str(), privateFolder) == 0) return {};
    }
    return errno == EEXIST ? Status() : failure(errno, "cannot make the folder", folder);
}

FileSystem& systemFiles() {
    static NoDestructor<SystemFiles> files;
    return *files;
}

}  // namespace zentara
