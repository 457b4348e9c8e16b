#pragma once

#include <cstddef>
#include <cstdint>
#include <filesystem>
#include <functional>
#include <string>
#include <vector>

namespace zentara::test {

/// What a program asks of a disk. Opening a file only to read it can fail and is not watched.
enum class DiskCall {
    open,
    openToRead,
    write,
    truncate,
    rename,
    remove,
    makeFolder,
    flush,
    flushFolder,
};

/// One call that has succeeded.
struct DiskStep {
    DiskCall call = DiskCall::open;
    std::filesystem::path path = {};
    std::filesystem::path target = {};  ///< of a rename
    bool exchanges = false;             ///< a rename that lets two files trade names
    std::uint64_t file = 0;             ///< tells files apart, whatever they are called
    std::uint64_t offset = 0;           ///< of a write; the new length when truncating
    std::string bytes = {};             ///< of a write
};

/// Calls that are to fail.
struct DiskFault {
    std::vector<DiskCall> calls;
    int error = 0;           ///< of `errno`; 0 lets a write end early, which is none
    std::size_t every = 1;   ///< the first of so many fails, and so on
    std::string names = {};  ///< only where the last name of the path has this in it
    bool isDone = false;     ///< the call does its work and reports the error all the same
};

/// Watches what the program writes under one folder and makes it fail. Meanwhile no flush reaches
/// the device. It defines the system's own calls, so it works in programs that link the CMake
/// target `zentara_faulty_disk`. There is one object at a time. Safe for use from any thread.
class FaultyDisk {
  public:
    using Watcher = std::function<void(const DiskStep&)>;

    explicit FaultyDisk(std::filesystem::path folder);
    ~FaultyDisk();
    FaultyDisk(const FaultyDisk&) = delete;
    FaultyDisk& operator=(const FaultyDisk&) = delete;

    /// From now on. Replaces the faults that were there; none of them is the end of all.
    void fail(std::vector<DiskFault> faults);
    /// How many calls have met a fault so far.
    [[nodiscard]] std::size_t failures() const;

    /// Called after each call that has succeeded, on its thread, without a lock held.
    void watch(Watcher watcher);
};

}  // namespace zentara::test
