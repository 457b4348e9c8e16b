#pragma once

#include <chrono>
#include <cstdint>
#include <filesystem>
#include <functional>
#include <map>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace zentara {
class Schema;
}  // namespace zentara

namespace zentara::collector {

/// The schemas at one moment. Never changes.
struct SchemaSnapshot {
    std::string json = "{}";  ///< the table: one object keyed "{id}-{version}"
    std::map<std::string, std::shared_ptr<const Schema>, std::less<>> schemas;
    std::vector<std::string>
        problems;  ///< a line for each file that is not in the table as it is now

    /// Null when there is no such schema.
    [[nodiscard]] const Schema* find(std::string_view key) const;
};

/// The schemas of a folder of files named "{id}-{version}.json", read again when they change.
///
/// A file that cannot be served is left out, with a problem, and keeps no other back: one that
/// cannot be read, is not JSON or not an object, names a key twice in one object, or is nested too
/// deep for the library. What was read before is served on when a file or the folder is there but
/// cannot be read, as when there are too many open files. Each problem is reported once, and again
/// only after it has changed. Any thread.
class SchemaCatalogue {
  public:
    using Snapshot = std::shared_ptr<const SchemaSnapshot>;
    using Clock = std::function<std::chrono::steady_clock::time_point()>;
    /// Gets a line for people; called on the thread that looked at the folder, without a lock.
    using Report = std::function<void(const std::string&)>;

    /// How old what `current` gives may be.
    static constexpr std::chrono::milliseconds freshness{100};

    /// Without a folder the table stays empty. Reads the folder at once.
    explicit SchemaCatalogue(std::optional<std::filesystem::path> folder, Report report = {},
                             Clock clock = &std::chrono::steady_clock::now);
    SchemaCatalogue(const SchemaCatalogue&) = delete;
    SchemaCatalogue& operator=(const SchemaCatalogue&) = delete;

    /// For events that arrive: as the folder was at most `freshness` ago.
    [[nodiscard]] Snapshot current();

    /// For those who ask for the table: as the folder is now.
    [[nodiscard]] Snapshot refreshed();

  private:
    /// What tells one state of a file from another without reading it.
    struct Signature {
        std::uint64_t size = 0;
        std::int64_t modified = 0;  ///< nanoseconds since 1970-01-01 UTC
        std::int64_t changed = 0;   ///< the same, for more than the content
        std::uint64_t inode = 0;

        friend bool operator==(const Signature&, const Signature&) = default;
    };

    /// A file as it was read.
    struct File {
        Signature signature;
        bool isSettled = false;                ///< any later change shows in the signature
        std::shared_ptr<const Schema> schema;  ///< null when it cannot be served
        std::string json;
        std::string problem;
    };
    using Files = std::map<std::string, std::shared_ptr<const File>>;  ///< by name

    [[nodiscard]] Snapshot look(std::optional<std::chrono::milliseconds> oldestAccepted);
    /// The names that were known before when the folder cannot be read just now.
    [[nodiscard]] std::vector<std::string> fileNames(std::string& problem) const;
    [[nodiscard]] std::shared_ptr<const File> read(const std::string& name,
                                                   const std::shared_ptr<const File>& known) const;
    [[nodiscard]] Snapshot snapshotOf(const Files& files, const std::string& folderProblem) const;

    const std::optional<std::filesystem::path> folder_;
    const Report report_;
    const Clock clock_;

    std::mutex looking_;         // one look at a time; taken before mutex_
    Files files_;                // guarded by looking_
    std::string folderProblem_;  // guarded by looking_

    std::mutex mutex_;
    Snapshot snapshot_ = std::make_shared<const SchemaSnapshot>();  // guarded by mutex_
    std::chrono::steady_clock::time_point lookedAt_;                // guarded by mutex_
};

}  // namespace zentara::collector
