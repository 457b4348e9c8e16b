#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <mutex>
#include <string>
#include <utility>
#include <vector>

#include "platform/FileSystem.h"

namespace zentara::test {

/// The calls of a disk. Reads can fail and are not watched.
enum class DiskCall { open, read, write, truncate, rename, remove, flush, flushFolder };

/// One call that has succeeded.
struct DiskStep {
    DiskCall call = DiskCall::open;
    std::filesystem::path path = {};
    std::uint64_t file = 0;             ///< identifies the file under any name
    std::uint64_t offset = 0;           ///< of a write; the new length when truncating
    std::string bytes = {};             ///< of a write
    std::filesystem::path target = {};  ///< of a rename
    bool exchanges = false;             ///< a rename that lets two files trade names
};

/// Calls that are to fail.
struct DiskFault {
    std::vector<DiskCall> calls;
    int error = 0;           ///< of `errno`
    std::size_t every = 1;   ///< the first of each such number fails
    std::string names = {};  ///< only for files whose name contains this
    bool isDone = false;     ///< the call does its work and reports the error all the same
};

/// The system's files, some of whose calls fail on demand; a write that fails has written
/// some. No flush reaches the device. Safe for use from any thread.
class FaultyDisk final : public FileSystem {
  public:
    using Watcher = std::function<void(const DiskStep&)>;

    /// From now on. Replaces the faults that were there.
    void fail(std::vector<DiskFault> faults);
    /// How many calls have met a fault so far.
    [[nodiscard]] std::size_t failures() const;
    /// Called after each call that has succeeded, on its thread, without a lock held.
    void watch(Watcher watcher);

    Result<std::unique_ptr<File>> create(const Path& path) override;
    Result<std::unique_ptr<File>> open(const Path& path) override;
    Result<std::string> read(const Path& path) override;
    [[nodiscard]] std::optional<FileState> state(const Path& path) const noexcept override {
        return files_.state(path);
    }
    Result<std::vector<std::string>> names(const Path& folder) const override {
        return files_.names(folder);
    }
    [[nodiscard]] Status rename(const Path& from, const Path& to) override;
    [[nodiscard]] Status exchange(const Path& one, const Path& other) override;
    [[nodiscard]] Status remove(const Path& path) override;
    [[nodiscard]] Status flushFolder(const Path& folder) override;
    [[nodiscard]] FolderClaim claim(const Path& folder) override;
    void release(const Path& folder) override { files_.release(folder); }
    [[nodiscard]] std::string bootIdentity() const override { return files_.bootIdentity(); }

  private:
    friend class FaultyFile;

    Result<std::unique_ptr<File>> open(const Path& path, Result<std::unique_ptr<File>> file);
    /// Why the call is to fail; `isDone` says whether it does its work before.
    [[nodiscard]] Status judge(DiskCall call, const Path& path, bool* isDone = nullptr);
    template <typename Run>
    Status pass(DiskStep step, const Run& run);
    void tell(const DiskStep& step);

    FileSystem& files_ = systemFiles();
    mutable std::mutex mutex_;                               // guards the others
    std::vector<std::pair<DiskFault, std::size_t>> faults_;  // each with how often it was met
    std::size_t failures_ = 0;
    Watcher watcher_;
};

}  // namespace zentara::test
