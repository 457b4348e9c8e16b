#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <map>

#include "platform/posix/ForkedDescriptors.h"
#include "platform/posix/SystemFiles.h"
#include "support/Mutex.h"
#include "support/NoDestructor.h"

namespace zentara {

namespace {

using Path = std::filesystem::path;

struct Claim {
    FolderClaim answer = FolderClaim::unknown;
    int descriptor = -1;  ///< of the locked file, while the claim is held
};

struct Claims {
    Mutex mutex;
    std::map<Path, Claim> byFile ZENTARA_GUARDED_BY(mutex);
};

Claims& claims() {
    static NoDestructor<Claims> instance;
    return *instance;
}

Path lockFile(const Path& folder) {
    return (folder / FileSystem::claimName).lexically_normal();
}

int openLockFile(const Path& path) {
    constexpr int flags = O_RDWR | O_CREAT | O_CLOEXEC | O_NOFOLLOW | O_NONBLOCK;
    int descriptor = ::open(path.c_str(), flags, 0600);
    if (descriptor < 0 && errno == ENOENT) {
        static_cast<void>(makeFolder(path.parent_path()));
        descriptor = ::open(path.c_str(), flags, 0600);
    }
    return descriptor;
}

/// Whether the name still stands for the open file. Another process may have released the folder
/// between our opening the file and our locking it, and a third one may have made a new one.
bool isInPlace(int descriptor, const Path& path) {
    struct stat opened {};
    if (::fstat(descriptor, &opened) != 0) return false;
    const auto named = systemFiles().state(path);
    return named && named->identity == FileIdentity{opened.st_dev, opened.st_ino};
}

Claim claim(const Path& path) {
    // Each turn beyond the first means that the folder was released at this very moment.
    for (int turn = 0; turn < 100; ++turn) {
        const int descriptor = openLockFile(path);
        if (descriptor < 0) {
            const bool isForNow = errno == EMFILE || errno == ENFILE || errno == ENOMEM;
            return {isForNow ? FolderClaim::heldElsewhere : FolderClaim::unknown};
        }
        int result = 0;
        do {
            result = ::flock(descriptor, LOCK_EX | LOCK_NB);
        } while (result != 0 && errno == EINTR);
        if (result == 0 && isInPlace(descriptor, path)) {
            closeInForkedChildren(descriptor);
            return {FolderClaim::held, descriptor};
        }
        const int code = errno;
        ::close(descriptor);
        if (result != 0)
            return {code == EWOULDBLOCK ? FolderClaim::heldElsewhere : FolderClaim::unknown};
    }
    return {FolderClaim::heldElsewhere};
}

}  // namespace

FolderClaim claimFolder(const std::filesystem::path& folder) {
    const MutexLock lock(claims().mutex);
    const auto [entry, isNew] = claims().byFile.try_emplace(lockFile(folder));
    if (isNew) entry->second = claim(entry->first);
    return entry->second.answer;
}

void releaseFolder(const std::filesystem::path& folder) {
    const MutexLock lock(claims().mutex);
    const auto entry = claims().byFile.extract(lockFile(folder));
    if (!entry || entry.mapped().descriptor < 0) return;
    // While the lock is held, so that what goes is this process's; a process that waits for the
    // lock sees that the file is not in place any more.
    ::unlink(entry.key().c_str());
    ::rmdir(folder.c_str());
    keepInForkedChildren(entry.mapped().descriptor);
    ::close(entry.mapped().descriptor);
}

}  // namespace zentara
