#pragma once

#include <cstdint>
#include <filesystem>

namespace zentara::collector {

/// The sole right to a database file, for as long as this lives. The file is made, empty and for
/// its owner only, when it does not exist. To outlive every connection to the file.
class DatabaseFile {
  public:
    /// What the file must be, unless it is empty.
    struct Kind {
        std::uint32_t applicationID = 0;
        std::uint32_t newestVersion = 1;
    };

    /// Throws `StoreError`, with the file untouched, when it is something else, of a later
    /// version, in use by another holder, or cannot be opened.
    DatabaseFile(const std::filesystem::path& path, const Kind& kind);
    DatabaseFile(const DatabaseFile&) = delete;
    DatabaseFile& operator=(const DatabaseFile&) = delete;
    ~DatabaseFile();

    /// Makes the file empty. There is to be no connection to it; a write-ahead log that is left
    /// beside it goes when the next one is opened. Throws `StoreError`.
    void clear() const;

  private:
    void check(const std::filesystem::path& path, const Kind& kind) const;

    int descriptor_;
};

}  // namespace zentara::collector
