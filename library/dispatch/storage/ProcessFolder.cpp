#include "dispatch/storage/ProcessFolder.h"

#include <algorithm>
#include <filesystem>
#include <string_view>
#include <system_error>

#include "dispatch/storage/FileStorage.h"
#include "dispatch/storage/QueueOpening.h"
#include "platform/File.h"
#include "platform/FolderClaim.h"
#include "support/UUID.h"

namespace zentara {

namespace {

using Answer = FolderClaim::Answer;

constexpr std::string_view folderPrefix = "process-";

std::vector<std::string> processFolders() {
    std::vector<std::string> found;
    std::error_code error;
    for (std::filesystem::directory_iterator entry(documentsFile(""), error), end;
         !error && entry != end; entry.increment(error)) {
        auto name = entry->path().filename().string();
        std::error_code unknown;
        // No links: what is taken in is removed.
        if (name.starts_with(folderPrefix) &&
            entry->symlink_status(unknown).type() == std::filesystem::file_type::directory) {
            found.push_back(std::move(name));
        }
    }
    std::sort(found.begin(), found.end());
    return found;
}

}  // namespace

std::string processFolder() {
    // If the lock state is unknown, assume that no other process exists.
    if (FolderClaim::take(documentsFile("")) != Answer::heldElsewhere) return "";
    // Far more than the processes of one application.
    for (int number = 2; number < 100; ++number) {
        auto folder = std::string(folderPrefix) + std::to_string(number);
        const auto answer = FolderClaim::take(documentsFile(folder));
        if (answer == Answer::held) return folder + "/";
        if (answer == Answer::unknown) break;
    }
    // No folder can be claimed, for want of descriptors or because the disk is full. Better alone
    // and unseen than two in one.
    static const auto own = std::string(folderPrefix) + lowerCaseUUID() + "/";
    return own;
}

void takeInProcessFolders(const std::vector<MainQueue>& queues, const std::string& tokenName) {
    bool isAnyFree = false;
    for (const auto& folder : processFolders()) {
        const auto path = documentsFile(folder);
        if (FolderClaim::take(path) != Answer::held) continue;
        isAnyFree = true;
        bool isTaken = true;
        for (const auto& queue : queues) {
            isTaken = handOverQueue(folder + "/" + queue.name, queue.name) && isTaken;
        }
        if (isTaken) removeFile(documentsFile(folder + "/" + tokenName));
        FolderClaim::release(path);
    }
    if (!isAnyFree) return;
    for (const auto& queue : queues)
        takeInFilesPutBy(queue.events, queue.name);
}

}  // namespace zentara
