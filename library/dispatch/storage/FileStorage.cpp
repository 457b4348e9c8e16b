#include "dispatch/storage/FileStorage.h"

#include <zentara/HostApplication.h>
#include "support/Diagnostics.h"
#include "support/PlatformError.h"

namespace zentara {

std::filesystem::path documentsFile(std::string_view name) {
    const auto documents = HostApplication::documentsDirectory();
    if (!documents) {
        fatalError(
            "no documents directory: set HOME, XDG_DATA_HOME or "
            "HostApplication::setDocumentsDirectory");
    }
    return *documents / name;
}

Result<std::vector<JSONObject>> SchemasStorage::load() {
    if (!files_.state(fileStorage_.fileURL)) {
        return std::make_shared<PlatformError>(PlatformError::Domain::file, ENOENT,
                                               "there are no cached schemas");
    }
    return fileStorage_.load();
}

}  // namespace zentara
