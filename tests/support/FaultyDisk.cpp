#include "support/FaultyDisk.h"

#include <algorithm>
#include <cerrno>
#include <system_error>

#include "support/PlatformError.h"

namespace zentara::test {

class FaultyFile final : public File {
  public:
    FaultyFile(FaultyDisk& disk, std::unique_ptr<File> file, std::filesystem::path path)
        : disk_(disk), file_(std::move(file)), path_(std::move(path)) {}

    Status write(std::span<const std::string_view> parts, std::uint64_t offset) override {
        if (auto failure = disk_.judge(DiskCall::write, path_); !failure.ok()) {
            static_cast<void>(file_->write(parts.first((parts.size() + 1) / 2), offset));
            return failure;
        }
        auto step = stepOf(DiskCall::write, offset);
        for (const auto part : parts)
            step.bytes += part;
        auto status = file_->write(parts, offset);
        if (status.ok()) disk_.tell(step);
        return status;
    }
    Status truncate(std::uint64_t size) override {
        return disk_.pass(stepOf(DiskCall::truncate, size), [&] { return file_->truncate(size); });
    }
    Status flush() override {
        return disk_.pass(stepOf(DiskCall::flush, 0), [] { return Status(); });
    }
    std::optional<FileState> state() const noexcept override { return file_->state(); }

    [[nodiscard]] DiskStep stepOf(DiskCall call, std::uint64_t offset) const {
        return {call, path_, file_->state().value().identity.number, offset};
    }

  private:
    FaultyDisk& disk_;
    const std::unique_ptr<File> file_;
    const std::filesystem::path path_;
};

void FaultyDisk::fail(std::vector<DiskFault> faults) {
    const std::lock_guard lock(mutex_);
    faults_.clear();
    for (auto& fault : faults)
        faults_.emplace_back(std::move(fault), 0);
}

std::size_t FaultyDisk::failures() const {
    const std::lock_guard lock(mutex_);
    return failures_;
}

void FaultyDisk::watch(Watcher watcher) {
    const std::lock_guard lock(mutex_);
    watcher_ = std::move(watcher);
}

Status FaultyDisk::judge(DiskCall call, const Path& path, bool* isDone) {
    const std::lock_guard lock(mutex_);
    for (auto& [fault, met] : faults_) {
        if (std::ranges::find(fault.calls, call) == fault.calls.end()) continue;
        if (path.filename().string().find(fault.names) == std::string::npos) continue;
        if (met++ % fault.every != 0) continue;
        ++failures_;
        if (isDone != nullptr) *isDone = fault.isDone;
        return std::make_shared<PlatformError>(
            PlatformError::Domain::file, fault.error,
            "broken disk: " + std::generic_category().message(fault.error));
    }
    return {};
}

template <typename Run>
Status FaultyDisk::pass(DiskStep step, const Run& run) {
    bool isDone = false;
    const auto failure = judge(step.call, step.path, &isDone);
    if (!failure.ok() && !isDone) return failure;
    auto status = run();
    if (!failure.ok()) return failure;
    if (status.ok()) tell(step);
    return status;
}

void FaultyDisk::tell(const DiskStep& step) {
    Watcher watcher;
    {
        const std::lock_guard lock(mutex_);
        watcher = watcher_;
    }
    if (watcher) watcher(step);
}

Result<std::unique_ptr<File>> FaultyDisk::create(const Path& path) {
    if (auto failure = judge(DiskCall::open, path); !failure.ok()) return failure;
    if (state(path)) tell({DiskCall::remove, path});
    return open(path, files_.create(path));
}

Result<std::unique_ptr<File>> FaultyDisk::open(const Path& path) {
    if (auto failure = judge(DiskCall::open, path); !failure.ok()) return failure;
    return open(path, files_.open(path));
}

Result<std::unique_ptr<File>> FaultyDisk::open(const Path& path,
                                               Result<std::unique_ptr<File>> file) {
    if (!file.ok()) return file;
    auto faulty = std::make_unique<FaultyFile>(*this, *std::move(file), path);
    tell(faulty->stepOf(DiskCall::open, 0));
    return std::unique_ptr<File>(std::move(faulty));
}

Result<std::string> FaultyDisk::read(const Path& path) {
    const auto failure = state(path) ? judge(DiskCall::read, path) : Status();
    if (!failure.ok()) return failure;
    return files_.read(path);
}

Status FaultyDisk::rename(const Path& from, const Path& to) {
    return pass({.call = DiskCall::rename, .path = from, .target = to},
                [&] { return files_.rename(from, to); });
}

Status FaultyDisk::exchange(const Path& one, const Path& other) {
    return pass({.call = DiskCall::rename, .path = one, .target = other, .exchanges = true},
                [&] { return files_.exchange(one, other); });
}

Status FaultyDisk::remove(const Path& path) {
    if (!state(path)) return {};
    return pass({DiskCall::remove, path}, [&] { return files_.remove(path); });
}

Status FaultyDisk::flushFolder(const Path& folder) {
    return pass({DiskCall::flushFolder, folder}, [] { return Status(); });
}

FolderClaim FaultyDisk::claim(const Path& folder) {
    const auto failure = judge(DiskCall::open, folder);
    if (failure.ok()) return files_.claim(folder);
    return isForTheMoment(*failure.error()) ? FolderClaim::heldElsewhere : FolderClaim::unknown;
}

}  // namespace zentara::test
