#include "dispatch/storage/FileStorage.h"

#include <zentara/HostApplication.h>
#include "support/Diagnostics.h"

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

}  // namespace zentara
