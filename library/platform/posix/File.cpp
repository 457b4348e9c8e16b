#include "platform/File.h"

#include <fcntl.h>
#include <linux/magic.h>
#include <sys/mman.h>
#include <sys/stat.h>
#include <sys/statfs.h>
#include <sys/uio.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <memory>
#include <system_error>
#include <utility>

#include "support/PlatformError.h"

namespace zentara {

namespace {

constexpr mode_t privateFile = 0600;
constexpr mode_t privateFolder = 0700;

ErrorRef failure(int code, const char* operation, const std::filesystem::path& path) {
    return std::make_shared<PlatformError>(PlatformError::Domain::file, code,
                                           std::string(operation) + " '" + path.string() +
                                               "': " + std::generic_category().message(code));
}

ErrorRef failure(int code, const char* operation) {
    return std::make_shared<PlatformError>(
        PlatformError::Domain::file, code,
        std::string(operation) + ": " + std::generic_category().message(code));
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

/// Whether memory that shows a file has what was written to the file a moment ago. Some network
/// and user-space file systems write past the memory.
bool showsWhatIsWritten(int descriptor) {
    struct statfs system {};
    if (::fstatfs(descriptor, &system) != 0) return false;
    constexpr std::array<std::uint32_t, 6> known{EXT4_SUPER_MAGIC,  XFS_SUPER_MAGIC,
                                                 BTRFS_SUPER_MAGIC, F2FS_SUPER_MAGIC,
                                                 TMPFS_MAGIC,       OVERLAYFS_SUPER_MAGIC};
    const auto type = static_cast<std::uint32_t>(system.f_type);
    return std::find(known.begin(), known.end(), type) != known.end();
}

FileState stateOf(const struct stat& status) {
    return {{status.st_dev, status.st_ino},
            static_cast<std::uint64_t>(status.st_size),
            status.st_mtim.tv_sec,
            status.st_mtim.tv_nsec};
}

int openNew(const std::filesystem::path& path) {
    constexpr int flags = O_RDWR | O_CREAT | O_EXCL | O_CLOEXEC | O_NOFOLLOW;
    int descriptor = retried([&] { return ::open(path.c_str(), flags, privateFile); });
    if (descriptor < 0 && errno == EEXIST) {
        ::unlink(path.c_str());
        descriptor = retried([&] { return ::open(path.c_str(), flags, privateFile); });
    }
    return descriptor;
}

FileContents readAll(int descriptor, const std::filesystem::path& path) {
    struct stat status {};
    if (::fstat(descriptor, &status) != 0) {
        return {std::nullopt, failure(errno, "cannot read", path)};
    }
    const bool isRegular = S_ISREG(status.st_mode);
    if (!isRegular || static_cast<std::uint64_t>(status.st_size) > maximumFileSize) {
        return {std::nullopt, failure(isRegular ? EFBIG : EINVAL, "cannot read", path), true};
    }
    std::string bytes;
    // Parsers want some room behind the text; giving it now spares a copy later.
    constexpr std::size_t room = 256;
    bytes.reserve(static_cast<std::size_t>(status.st_size) + room);
    bytes.resize(static_cast<std::size_t>(status.st_size));
    std::size_t filled = 0;
    while (filled < bytes.size()) {
        const auto count = retried(
            [&] { return ::read(descriptor, bytes.data() + filled, bytes.size() - filled); });
        if (count < 0) return {std::nullopt, failure(errno, "cannot read", path)};
        if (count == 0) break;
        filled += static_cast<std::size_t>(count);
    }
    bytes.resize(filled);
    return {std::move(bytes), nullptr};
}

}  // namespace

ErrorRef makeFolder(const std::filesystem::path& folder) {
    if (folder.empty() || ::mkdir(folder.c_str(), privateFolder) == 0) return nullptr;
    const auto parent = folder.parent_path();
    if (errno == ENOENT && parent != folder) {
        if (auto error = makeFolder(parent)) return error;
        if (::mkdir(folder.c_str(), privateFolder) == 0) return nullptr;
    }
    if (errno == EEXIST) return nullptr;
    return failure(errno, "cannot make the folder", folder);
}

ErrorRef File::create(const std::filesystem::path& path, File& file) {
    int descriptor = openNew(path);
    if (descriptor < 0 && errno == ENOENT) {
        if (auto error = makeFolder(path.parent_path())) return error;
        descriptor = openNew(path);
    }
    if (descriptor < 0) return failure(errno, "cannot create", path);
    file.close();
    file.descriptor_ = descriptor;
    struct stat status {};
    ::fstat(descriptor, &status);
    file.identity_ = {status.st_dev, status.st_ino};
    return nullptr;
}

ErrorRef File::open(const std::filesystem::path& path, File& file) {
    const int descriptor =
        retried([&] { return ::open(path.c_str(), O_RDWR | O_CLOEXEC | O_NOFOLLOW | O_NONBLOCK); });
    if (descriptor < 0) return failure(errno, "cannot open", path);
    file.close();
    file.descriptor_ = descriptor;
    struct stat status {};
    ::fstat(descriptor, &status);
    file.identity_ = {status.st_dev, status.st_ino};
    if (S_ISREG(status.st_mode)) {
        // A file system that knows no permissions keeps what it has.
        if ((status.st_mode & 0077U) != 0) static_cast<void>(::fchmod(descriptor, privateFile));
        return nullptr;
    }
    file.close();
    return failure(EINVAL, "cannot open", path);
}

bool File::hasOtherNames() const noexcept {
    struct stat status {};
    return ::fstat(descriptor_, &status) == 0 && status.st_nlink > 1;
}

ErrorRef File::duplicate(File& copy) const {
    copy.close();
    if (!isOpen()) return nullptr;
    copy.descriptor_ = ::fcntl(descriptor_, F_DUPFD_CLOEXEC, 0);
    if (copy.descriptor_ < 0) return failure(errno, "cannot duplicate");
    copy.identity_ = identity_;
    return nullptr;
}

File::~File() {
    close();
}

File::File(File&& other) noexcept
    : descriptor_(std::exchange(other.descriptor_, -1)),
      identity_(other.identity_),
      view_(std::exchange(other.view_, {})) {}

File& File::operator=(File&& other) noexcept {
    if (this != &other) {
        close();
        descriptor_ = std::exchange(other.descriptor_, -1);
        identity_ = other.identity_;
        view_ = std::exchange(other.view_, {});
    }
    return *this;
}

ErrorRef File::write(std::string_view bytes, std::uint64_t offset) {
    while (!bytes.empty()) {
        const auto written = retried([&] {
            return ::pwrite(descriptor_, bytes.data(), bytes.size(), static_cast<off_t>(offset));
        });
        if (written < 0) return failure(errno, "cannot write");
        if (written == 0) return failure(EIO, "cannot write");
        bytes.remove_prefix(static_cast<std::size_t>(written));
        offset += static_cast<std::uint64_t>(written);
    }
    return nullptr;
}

ErrorRef File::write(std::span<const std::string_view> parts, std::uint64_t offset) {
    // What the system takes in one call.
    constexpr std::size_t most = 1024;
    std::array<iovec, most> vectors;
    while (!parts.empty()) {
        const auto count = std::min(parts.size(), most);
        std::size_t size = 0;
        for (std::size_t i = 0; i < count; ++i) {
            vectors[i] = {const_cast<char*>(parts[i].data()), parts[i].size()};
            size += parts[i].size();
        }
        const auto result = retried([&] {
            return ::pwritev(descriptor_, vectors.data(), static_cast<int>(count),
                             static_cast<off_t>(offset));
        });
        if (result < 0) return failure(errno, "cannot write");
        auto written = static_cast<std::size_t>(result);
        offset += written;
        if (written == size) {
            parts = parts.subspan(count);
            continue;
        }
        while (written >= parts.front().size()) {
            written -= parts.front().size();
            parts = parts.subspan(1);
        }
        // The rest of the part in which the call ended; what is wrong, if anything, shows there.
        const auto rest = parts.front().substr(written);
        if (auto error = write(rest, offset)) return error;
        offset += rest.size();
        parts = parts.subspan(1);
    }
    return nullptr;
}

ErrorRef File::truncate(std::uint64_t size) {
    if (retried([&] { return ::ftruncate(descriptor_, static_cast<off_t>(size)); }) < 0) {
        return failure(errno, "cannot truncate");
    }
    return nullptr;
}

ErrorRef File::synchronise() {
    if (retried([&] { return ::fdatasync(descriptor_); }) == 0) return nullptr;
    return hasNoFlush(errno) ? nullptr : failure(errno, "cannot flush");
}

std::optional<FileState> File::state() const noexcept {
    struct stat status {};
    if (::fstat(descriptor_, &status) != 0) return std::nullopt;
    return stateOf(status);
}

std::string_view File::view(std::uint64_t size) noexcept {
    if (size > view_.size()) {
        closeView();
        if (!showsWhatIsWritten(descriptor_)) return {};
        // A file that grows a little is shown without another call.
        constexpr std::uint64_t step = std::uint64_t{1} << 20U;
        const auto length = static_cast<std::size_t>((size + step - 1) / step * step);
        void* const start = ::mmap(nullptr, length, PROT_READ, MAP_SHARED, descriptor_, 0);
        if (start == MAP_FAILED) return {};
        view_ = {static_cast<const char*>(start), length};
    }
    return view_.substr(0, static_cast<std::size_t>(size));
}

void File::closeView() noexcept {
    if (!view_.empty()) ::munmap(const_cast<char*>(view_.data()), view_.size());
    view_ = {};
}

void File::close() noexcept {
    closeView();
    if (descriptor_ >= 0) ::close(std::exchange(descriptor_, -1));
}

std::optional<FileIdentity> fileIdentity(const std::filesystem::path& path) {
    const auto state = fileState(path);
    if (!state) return std::nullopt;
    return state->identity;
}

std::optional<FileState> fileState(const std::filesystem::path& path) {
    struct stat status {};
    if (::lstat(path.c_str(), &status) != 0) return std::nullopt;
    return stateOf(status);
}

FileContents readFile(const std::filesystem::path& path) {
    // Not blocking, or a pipe in place of the file would hold the caller up.
    const int descriptor =
        retried([&] { return ::open(path.c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK); });
    if (descriptor < 0) {
        const int code = errno;
        // Out of descriptors, the system does not look whether there is a file.
        struct stat status {};
        const bool isThere = ::lstat(path.c_str(), &status) == 0;
        for (const int missing : {ENOENT, ENOTDIR}) {
            if (code == missing || (!isThere && errno == missing)) return {};
        }
        // A socket, or a name that stands for nothing that can be opened.
        const bool isUnfit = code == ENXIO || code == ENODEV || code == ELOOP;
        return {std::nullopt, failure(code, "cannot open", path), isUnfit};
    }
    try {
        auto contents = readAll(descriptor, path);
        ::close(descriptor);
        return contents;
    } catch (...) {
        ::close(descriptor);
        throw;
    }
}

ErrorRef writeFileAtomically(const std::filesystem::path& path, std::string_view bytes) {
    auto temporary = path;
    temporary.replace_filename("." + path.filename().string() + ".new");
    File file;
    if (auto error = File::create(temporary, file)) return error;
    auto error = file.write(bytes, 0);
    if (!error) error = renameFile(temporary, path);
    if (error) removeFile(temporary);
    return error;
}

ErrorRef exchangeNames(const std::filesystem::path& one, const std::filesystem::path& other,
                       bool& unsupported) {
    unsupported = false;
    if (::renameat2(AT_FDCWD, one.c_str(), AT_FDCWD, other.c_str(), RENAME_EXCHANGE) == 0) {
        return nullptr;
    }
    unsupported = errno == EINVAL || errno == ENOSYS || errno == EOPNOTSUPP;
    return failure(errno, "cannot exchange", one);
}

ErrorRef renameFile(const std::filesystem::path& from, const std::filesystem::path& to) {
    if (::rename(from.c_str(), to.c_str()) == 0) return nullptr;
    return failure(errno, "cannot rename", from);
}

void removeFile(const std::filesystem::path& path) noexcept {
    ::unlink(path.c_str());
}

ErrorRef synchroniseFolder(const std::filesystem::path& folder) {
    const int descriptor =
        retried([&] { return ::open(folder.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC); });
    if (descriptor < 0) return failure(errno, "cannot open", folder);
    const int result = retried([&] { return ::fsync(descriptor); });
    const int code = errno;
    ::close(descriptor);
    // Some file systems flush only what was opened for writing, which no folder is.
    if (result == 0 || code == EBADF || hasNoFlush(code)) return nullptr;
    return failure(code, "cannot flush", folder);
}

}  // namespace zentara
