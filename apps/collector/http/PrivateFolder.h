#pragma once

#include <filesystem>
#include <optional>
#include <string>

namespace zentara::collector {

/// Files that nobody but their user may change or, where they are secret, read. Locked against
/// other processes for as long as it lives. All operations throw `std::runtime_error` with the name
/// of the file.
class PrivateFolder {
  public:
    enum class Access { everyone, owner };

    /// Makes the folder where there is none and waits for its lock.
    explicit PrivateFolder(std::filesystem::path folder);
    ~PrivateFolder();
    PrivateFolder(const PrivateFolder&) = delete;
    PrivateFolder& operator=(const PrivateFolder&) = delete;

    /// The content of a file; nothing when there is none. A symbolic link is not followed, and a
    /// file for its owner that others can read is refused.
    [[nodiscard]] std::optional<std::string> read(const std::string& name, Access access) const;

    /// Replaces a file as a whole: after a crash it is there in the old form or in the new one.
    void write(const std::string& name, const std::string& content, Access access) const;

    void remove(const std::string& name) const;

  private:
    const std::filesystem::path folder_;
    int lock_ = -1;
};

}  // namespace zentara::collector
