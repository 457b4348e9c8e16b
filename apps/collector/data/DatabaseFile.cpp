#include "collector/data/DatabaseFile.h"

#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <string>
#include <string_view>
#include <system_error>

#include "collector/data/Database.h"

namespace zentara::collector {

namespace {

[[noreturn]] void failWithErrno(const std::filesystem::path& path, const std::string& what) {
    throw StoreError(path.string() + what + ": " + std::generic_category().message(errno));
}

// Offsets in the header of an SQLite file. Its numbers are big-endian.
constexpr std::string_view magic("SQLite format 3\0", 16);
constexpr std::size_t userVersionAt = 60;
constexpr std::size_t applicationIDAt = 68;
using Head = std::array<unsigned char, 100>;

std::uint32_t numberAt(const Head& head, std::size_t position) {
    std::uint32_t number = 0;
    for (std::size_t i = position; i < position + 4; ++i)
        number = number << 8 | head[i];
    return number;
}

}  // namespace

DatabaseFile::DatabaseFile(const std::filesystem::path& path, const Kind& kind)
    : descriptor_(::open(path.c_str(), O_RDWR | O_CREAT | O_CLOEXEC | O_NONBLOCK, 0600)) {
    if (descriptor_ < 0) failWithErrno(path, " cannot be opened");
    try {
        check(path, kind);
    } catch (...) {
        ::close(descriptor_);
        throw;
    }
}

DatabaseFile::~DatabaseFile() {
    ::close(descriptor_);
}

void DatabaseFile::clear() const {
    if (::ftruncate(descriptor_, 0) != 0) {
        throw StoreError(std::generic_category().message(errno));
    }
}

// SQLite itself would recover an interrupted transaction, and so write to a file of any kind.
void DatabaseFile::check(const std::filesystem::path& path, const Kind& kind) const {
    struct stat status {};
    if (::fstat(descriptor_, &status) != 0) failWithErrno(path, " cannot be opened");
    if (!S_ISREG(status.st_mode)) throw StoreError(path.string() + " is not a file");
    // Does not affect SQLite's own locks, which are of another kind.
    if (::flock(descriptor_, LOCK_EX | LOCK_NB) != 0) {
        if (errno == EWOULDBLOCK) {
            throw StoreError(path.string() + " is in use by another collector");
        }
        failWithErrno(path, " cannot be locked");
    }

    Head head{};
    const auto size = ::pread(descriptor_, head.data(), head.size(), 0);
    if (size < 0) failWithErrno(path, " cannot be read");
    if (size == 0) return;
    const void* const start = head.data();
    if (static_cast<std::size_t>(size) < head.size() ||
        std::string_view(static_cast<const char*>(start), magic.size()) != magic ||
        numberAt(head, applicationIDAt) != kind.applicationID) {
        throw StoreError(path.string() + " is not a database of this collector");
    }
    const auto version = numberAt(head, userVersionAt);
    if (version > kind.newestVersion) {
        throw StoreError(path.string() + " was made by a later version of this collector (" +
                         std::to_string(version) + " instead of " +
                         std::to_string(kind.newestVersion) + ")");
    }
}

}  // namespace zentara::collector
