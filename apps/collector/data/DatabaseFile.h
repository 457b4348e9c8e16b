#pragma once

#include <cstdint>
#include <filesystem>

namespace zentara::collector {

/// A database file that is locked against other processes. The file is made, empty and for its
/// owner only, if it does not exist. Must outlive every connection to the file.
class DatabaseFile {
  public:
    /// What a file that is not empty must have in its header.
    struct Kind {
        std::uint32_t applicationID = 0;
        std::uint32_t newestVersion = 1;
    };

    /// Throws `StoreError` and does not change the file if it is not such a database, has a later
    /// version, is in use, or cannot be opened.
    DatabaseFile(const std::filesystem::path& path, const Kind& kind);
    DatabaseFile(const DatabaseFile&) = delete;
    DatabaseFile& operator=(const DatabaseFile&) = delete;
    ~DatabaseFile();

    /// Empties the file, which must have no connection. A write-ahead log that is left beside it is
    /// removed when the next connection opens. Throws `StoreError`.
    void clear() const;

  private:
    void check(const std::filesystem::path& path, const Kind& kind) const;

    int descriptor_;
};

}  // namespace zentara::collector
