#pragma once

#include <filesystem>

namespace zentara {

/// The right to be the only process that writes in a folder. Claims are answered once: what a
/// process was told about a folder holds until it ends or releases the folder. Another process is
/// told otherwise as soon as this one is gone, however it ended. All operations may be called from
/// any thread.
class FolderClaim {
  public:
    enum class Answer {
        held,           ///< this process has it
        heldElsewhere,  ///< another process has it, or may: there was no descriptor left to look
        unknown,        ///< nothing is known of others: no locks there, or no file to lock
    };

    /// The hidden file in each claimed folder that stands for the claim.
    static constexpr const char* fileName = ".zentara-lock";

    FolderClaim() = delete;

    /// Asks for a folder, which is made when it is missing.
    [[nodiscard]] static Answer take(const std::filesystem::path& folder);

    /// Gives a folder back, and removes it if there is nothing in it.
    static void release(const std::filesystem::path& folder);
};

}  // namespace zentara
