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

struct stat;

namespace zentara::schemas {
struct CheckedSchema;
}  // namespace zentara::schemas

namespace zentara::collector {

/// The schemas at one moment. Never changes.
struct SchemaSnapshot {
    std::string json = "{}";  ///< the table: one object keyed "{id}-{version}"
    std::map<std::string, std::shared_ptr<const Schema>, std::less<>> schemas;
    std::vector<std::string>
        problems;  ///< a line for each file whose current content is not in the table
    /// Every schema that was read, with what the check of schemas finds in it; also schemas that
    /// cannot be served.
    std::vector<std::shared_ptr<const schemas::CheckedSchema>> checked;
    std::uint64_t faults = 0;    ///< of all schemas
    std::uint64_t warnings = 0;  ///< of all schemas
    std::uint64_t revision = 0;  ///< counts the changes

    /// Null when there is no such schema.
    [[nodiscard]] const Schema* find(std::string_view key) const;
};

/// The schemas of a folder of files named "{id}-{version}.json", or of a bundle: a file with one
/// object keyed "{id}-{version}". Read again when they change, and checked then.
///
/// A schema with faults is served. A file, or a member of a bundle, is left out, with a problem, if
/// it cannot be read, is not JSON or not an object, has a key twice in one object, or is nested too
/// deep for the library. If a file or the folder exists but cannot be read, for example with too
/// many open files, the previous content is served. Each problem is reported once, and again only
/// after it has changed; so are the findings of a schema. Any thread.
class SchemaCatalogue {
  public:
    using Snapshot = std::shared_ptr<const SchemaSnapshot>;
    using Clock = std::function<std::chrono::steady_clock::time_point()>;
    /// Gets a line for users; called on the thread that read the folder, without a lock.
    using Report = std::function<void(const std::string&)>;

    /// The maximum age of the result of `current`.
    static constexpr std::chrono::milliseconds freshness{100};

    /// `place` is a folder or a bundle; without it the table stays empty. Reads it at once.
    explicit SchemaCatalogue(std::optional<std::filesystem::path> place, Report report = {},
                             Clock clock = &std::chrono::steady_clock::now);
    SchemaCatalogue(const SchemaCatalogue&) = delete;
    SchemaCatalogue& operator=(const SchemaCatalogue&) = delete;

    /// The schemas at most `freshness` ago, for the check of events.
    [[nodiscard]] Snapshot current();

    /// The schemas now, for requests for the table.
    [[nodiscard]] Snapshot refreshed();

  private:
    /// Identifies a state of a file without reading it.
    struct Signature {
        std::uint64_t size = 0;
        std::int64_t modified = 0;  ///< nanoseconds since 1970-01-01 UTC
        std::int64_t changed = 0;   ///< the same, for content and attributes
        std::uint64_t inode = 0;

        friend bool operator==(const Signature&, const Signature&) = default;
    };

    struct Stamp {
        Signature signature;
        bool isSettled = false;  ///< any later change shows in the signature
    };

    /// A file, or a member of a bundle, as it was read.
    struct File {
        Stamp stamp;  ///< of a file
        /// Null when the text was not read.
        std::shared_ptr<const schemas::CheckedSchema> checked;
        std::shared_ptr<const Schema> schema;  ///< null when it cannot be served
        std::string json;
        std::string problem;
    };
    using Files = std::map<std::string, std::shared_ptr<const File>>;  ///< by name

    [[nodiscard]] static Stamp stampOf(const struct stat& status);
    static void addSchema(File& file, const std::string& place, std::string_view text);
    [[nodiscard]] Snapshot look(std::optional<std::chrono::milliseconds> oldestAccepted);
    /// The current files; the previous ones where they cannot be read. `problem` is that of the
    /// folder or the bundle as a whole.
    [[nodiscard]] Files readAll(std::string& problem);
    [[nodiscard]] Files readBundle(std::string& problem);
    /// The previous names if the folder cannot be read.
    [[nodiscard]] std::vector<std::string> fileNames(std::string& problem) const;
    [[nodiscard]] std::shared_ptr<const File> read(const std::string& name,
                                                   const std::shared_ptr<const File>& known) const;
    [[nodiscard]] Snapshot snapshotOf(const Files& files, const std::string& wholeProblem);

    const std::optional<std::filesystem::path> place_;
    const Report report_;
    const Clock clock_;

    std::mutex looking_;                     // one look at a time; taken before mutex_
    Files files_;                            // guarded by looking_
    std::string wholeProblem_;               // guarded by looking_
    Stamp bundle_;                           // guarded by looking_
    std::uint64_t changes_ = 0;              // guarded by looking_
    std::optional<std::string> bundleText_;  // that of files_; guarded by looking_

    std::mutex mutex_;
    Snapshot snapshot_ = std::make_shared<const SchemaSnapshot>();  // guarded by mutex_
    std::chrono::steady_clock::time_point lookedAt_;                // guarded by mutex_
};

}  // namespace zentara::collector
