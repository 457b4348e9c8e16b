#include "support/FaultyDisk.h"

#include <dlfcn.h>
#include <fcntl.h>
#include <sys/stat.h>
#include <sys/uio.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <atomic>
#include <cerrno>
#include <cstdarg>
#include <mutex>
#include <span>
#include <utility>

namespace zentara::test {

namespace {

/// What there is behind the object. Threads may be in the middle of a call when that goes.
struct Disk {
    enum class Verdict { succeed, fail, endEarly, failWhenDone };

    std::atomic<bool> isWatched = false;
    std::mutex mutex;  // guards the others
    std::filesystem::path folder;
    std::vector<std::pair<DiskFault, std::size_t>> faults;  // each with how often it was met
    std::size_t failures = 0;
    FaultyDisk::Watcher watcher;

    void reset(bool watched, std::filesystem::path newFolder) {
        const std::lock_guard lock(mutex);
        folder = std::move(newFolder);
        faults.clear();
        failures = 0;
        watcher = nullptr;
        isWatched = watched;
    }

    bool concerns(const std::filesystem::path& path) {
        const std::lock_guard lock(mutex);
        return isWatched && path.native().starts_with(folder.native());
    }

    /// Whether this call is to fail, with `errno` set, or to end early.
    Verdict judge(DiskCall call, const std::filesystem::path& path) {
        const std::lock_guard lock(mutex);
        for (auto& [fault, met] : faults) {
            const auto& calls = fault.calls;
            if (std::find(calls.begin(), calls.end(), call) == calls.end()) continue;
            if (path.filename().string().find(fault.names) == std::string::npos) continue;
            if (met++ % fault.every != 0) continue;
            ++failures;
            if (fault.error == 0) return Verdict::endEarly;
            errno = fault.error;
            return fault.isDone ? Verdict::failWhenDone : Verdict::fail;
        }
        return Verdict::succeed;
    }

    void succeeded(const DiskStep& step) {
        FaultyDisk::Watcher current;
        {
            const std::lock_guard lock(mutex);
            current = watcher;
        }
        if (current) current(step);
    }
};

Disk& disk() {
    static auto* const instance = new Disk;
    return *instance;
}

/// What the program would have called without us.
template <typename Function>
Function* systems(const char* name) {
    return reinterpret_cast<Function*>(::dlsym(RTLD_NEXT, name));
}

std::filesystem::path pathOf(int descriptor) {
    std::array<char, 4096> path{};
    const auto link = "/proc/self/fd/" + std::to_string(descriptor);
    const auto length = ::readlink(link.c_str(), path.data(), path.size());
    return std::string(path.data(), static_cast<std::size_t>(std::max<ssize_t>(length, 0)));
}

std::uint64_t fileOf(int descriptor) {
    struct stat status {};
    ::fstat(descriptor, &status);
    return status.st_ino;
}

constexpr auto nothingMore = [](DiskStep&, auto) {
};

/// Runs one call, unless it is to fail. `run` is told whether to end early.
template <typename Run, typename Describe = decltype(nothingMore)>
auto pass(DiskCall call, const std::filesystem::path& path, const Run& run,
          const Describe& describe = nothingMore) {
    if (!disk().isWatched || !disk().concerns(path)) return run(false);
    const auto verdict = disk().judge(call, path);
    if (verdict == Disk::Verdict::fail) return decltype(run(false))(-1);
    const int fault = errno;
    const auto result = run(verdict == Disk::Verdict::endEarly);
    if (verdict == Disk::Verdict::failWhenDone) {
        errno = fault;
        return decltype(run(false))(-1);
    }
    if (result >= 0) {
        const int code = errno;
        DiskStep step{.call = call, .path = path};
        describe(step, result);
        disk().succeeded(step);
        errno = code;
    }
    return result;
}

/// The same for a call on an open file, whose path it looks for only while the disk is watched.
template <typename Run, typename Describe = decltype(nothingMore)>
auto passOpen(DiskCall call, int descriptor, const Run& run,
              const Describe& describe = nothingMore) {
    if (!disk().isWatched) return run(false);
    return pass(call, pathOf(descriptor), run, [&](DiskStep& step, auto result) {
        step.file = fileOf(descriptor);
        describe(step, result);
    });
}

}  // namespace

FaultyDisk::FaultyDisk(std::filesystem::path folder) {
    disk().reset(true, std::move(folder));
}

FaultyDisk::~FaultyDisk() {
    disk().reset(false, {});
}

void FaultyDisk::fail(std::vector<DiskFault> faults) {
    const std::lock_guard lock(disk().mutex);
    disk().faults.clear();
    for (auto& fault : faults)
        disk().faults.emplace_back(std::move(fault), 0);
}

std::size_t FaultyDisk::failures() const {
    const std::lock_guard lock(disk().mutex);
    return disk().failures;
}

void FaultyDisk::watch(Watcher watcher) {
    const std::lock_guard lock(disk().mutex);
    disk().watcher = std::move(watcher);
}

}  // namespace zentara::test

// The system's calls, as the libraries of the program find them.

using namespace zentara::test;

#define ZENTARA_SYSTEM_CALL extern "C" __attribute__((visibility("default")))

ZENTARA_SYSTEM_CALL int open(const char* path, int flags, ...) {
    static auto* const next = systems<int(const char*, int, ...)>("open");
    va_list arguments;
    va_start(arguments, flags);
    const auto mode = (flags & O_CREAT) != 0 ? va_arg(arguments, mode_t) : 0;
    va_end(arguments);
    if ((flags & O_ACCMODE) == O_RDONLY) {
        return pass(DiskCall::openToRead, path, [&](bool) { return next(path, flags, mode); });
    }
    return pass(
        DiskCall::open, path, [&](bool) { return next(path, flags, mode); },
        [](DiskStep& step, int descriptor) { step.file = fileOf(descriptor); });
}

ZENTARA_SYSTEM_CALL ssize_t pwritev(int descriptor, const iovec* parts, int count, off_t offset) {
    static auto* const next = systems<ssize_t(int, const iovec*, int, off_t)>("pwritev");
    return passOpen(
        DiskCall::write, descriptor,
        [&](bool early) {
            if (!early) return next(descriptor, parts, count, offset);
            std::vector<iovec> half(parts, parts + count);
            std::size_t room = 1;
            for (const auto& part : half)
                room += part.iov_len;
            room /= 2;
            for (auto& part : half)
                room -= part.iov_len = std::min(part.iov_len, room);
            return next(descriptor, half.data(), count, offset);
        },
        [&](DiskStep& step, ssize_t written) {
            step.offset = static_cast<std::uint64_t>(offset);
            for (const auto& part : std::span(parts, static_cast<size_t>(count)))
                step.bytes.append(
                    static_cast<const char*>(part.iov_base),
                    std::min(part.iov_len, static_cast<size_t>(written) - step.bytes.size()));
        });
}

ZENTARA_SYSTEM_CALL ssize_t pwrite(int descriptor, const void* bytes, size_t size, off_t offset) {
    const iovec whole{const_cast<void*>(bytes), size};
    return ::pwritev(descriptor, &whole, 1, offset);
}

ZENTARA_SYSTEM_CALL int ftruncate(int descriptor, off_t size) noexcept {
    static auto* const next = systems<int(int, off_t)>("ftruncate");
    return passOpen(
        DiskCall::truncate, descriptor, [&](bool) { return next(descriptor, size); },
        [&](DiskStep& step, int) { step.offset = static_cast<std::uint64_t>(size); });
}

// No watched flush reaches the device: each one would take milliseconds, and leave no trace.

ZENTARA_SYSTEM_CALL int fdatasync(int descriptor) {
    static auto* const next = systems<int(int)>("fdatasync");
    return passOpen(DiskCall::flush, descriptor,
                    [&](bool) { return disk().isWatched ? 0 : next(descriptor); });
}

ZENTARA_SYSTEM_CALL int fsync(int descriptor) {
    static auto* const next = systems<int(int)>("fsync");
    struct stat status {};
    ::fstat(descriptor, &status);
    return passOpen(S_ISDIR(status.st_mode) ? DiskCall::flushFolder : DiskCall::flush, descriptor,
                    [&](bool) { return disk().isWatched ? 0 : next(descriptor); });
}

ZENTARA_SYSTEM_CALL int renameat2(int fromFolder, const char* from, int toFolder, const char* to,
                                  unsigned flags) noexcept {
    static auto* const next =
        systems<int(int, const char*, int, const char*, unsigned)>("renameat2");
    return pass(
        DiskCall::rename, from, [&](bool) { return next(fromFolder, from, toFolder, to, flags); },
        [&](DiskStep& step, int) {
            step.target = to;
            step.exchanges = flags == RENAME_EXCHANGE;
        });
}

ZENTARA_SYSTEM_CALL int rename(const char* from, const char* to) noexcept {
    return ::renameat2(AT_FDCWD, from, AT_FDCWD, to, 0);
}

ZENTARA_SYSTEM_CALL int unlink(const char* path) noexcept {
    static auto* const next = systems<int(const char*)>("unlink");
    return pass(DiskCall::remove, path, [&](bool) { return next(path); });
}

ZENTARA_SYSTEM_CALL int mkdir(const char* path, mode_t mode) noexcept {
    static auto* const next = systems<int(const char*, mode_t)>("mkdir");
    return pass(DiskCall::makeFolder, path, [&](bool) { return next(path, mode); });
}
