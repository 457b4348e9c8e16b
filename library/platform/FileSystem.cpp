#include "platform/FileSystem.h"

#include <algorithm>
#include <cerrno>
#include <initializer_list>

#include "platform/HostApplication.h"
#include "support/Diagnostics.h"
#include "support/PlatformError.h"

namespace zentara {

namespace {

bool hasCode(const Status& status, std::initializer_list<int> codes) {
    const auto* const failure = dynamic_cast<const PlatformError*>(status.error().get());
    return failure != nullptr && failure->domain() == PlatformError::Domain::file &&
           std::ranges::find(codes, failure->code()) != codes.end();
}

}  // namespace

bool isMissing(const Status& status) {
    return hasCode(status, {ENOENT, ENOTDIR});
}

bool isUnfit(const Status& status) {
    // The last three come from opening a socket, or a name that stands for nothing to be opened.
    return hasCode(status, {EISDIR, EFBIG, ENXIO, ENODEV, ELOOP});
}

bool isUnsupported(const Status& status) {
    return hasCode(status, {EINVAL, ENOSYS, EOPNOTSUPP});
}

std::filesystem::path documentsFile(std::string_view name) {
    const auto documents = HostApplication::documentsDirectory();
    if (documents) return *documents / name;
    fatalError(
        "no documents directory: set HOME, XDG_DATA_HOME or "
        "HostApplication::setDocumentsDirectory");
}

Status FileSystem::writeAtomically(const Path& path, std::span<const std::string_view> bytes) {
    auto temporary = path;
    temporary.replace_filename("." + path.filename().string() + ".new");
    auto file = create(temporary);
    if (!file.ok()) return file.status();
    auto status = (*file)->write(bytes, 0);
    if (status.ok()) status = rename(temporary, path);
    // The next write replaces it if it stays.
    if (!status.ok()) static_cast<void>(remove(temporary));
    return status;
}

Status FileSystem::removeAllOf(const Path& path) {
    const auto folder = path.parent_path();
    const auto name = path.filename().string();
    const auto found = names(folder);
    Status firstFailure = found.status();
    bool isAnyRemoved = false;
    const auto removeOne = [&](const Path& file) {
        if (!state(file)) return;
        auto status = remove(file);
        isAnyRemoved = isAnyRemoved || status.ok();
        if (firstFailure.ok()) firstFailure = std::move(status);
    };
    for (const auto& other : found.ok() ? *found : std::vector<std::string>()) {
        const auto bare = other.substr(std::min(other.find_first_not_of('.'), other.size()));
        if (other != name && (bare == name || bare.starts_with(name + '.')))
            removeOne(folder / other);
    }
    removeOne(path);
    if (!isAnyRemoved) return firstFailure;
    auto flushed = flushFolder(folder);
    return firstFailure.ok() ? flushed : firstFailure;
}

}  // namespace zentara
