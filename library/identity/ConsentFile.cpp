#include "identity/ConsentFile.h"

#include <cstdint>
#include <new>
#include <string>

#include "support/Diagnostics.h"
#include "support/PlatformError.h"

namespace zentara {

std::string_view consentName(Consent consent) {
    switch (consent) {
        case Consent::granted:
            return "granted";
        case Consent::pending:
            return "pending";
        case Consent::denied:
            return "denied";
    }
    fatalError("there is no consent " + std::to_string(static_cast<std::int64_t>(consent)) +
               ": 0 is granted, 1 is pending, 2 is denied");
}

Result<Consent> ConsentFile::load() const {
    try {
        const auto stored = files_.read(path_);
        if (isMissing(stored.status())) return Consent::granted;
        if (!stored.ok()) return stored.status();
        for (const auto consent : {Consent::granted, Consent::pending, Consent::denied}) {
            if (*stored == consentName(consent)) return consent;
        }
        return plainError("it holds neither granted nor pending nor denied");
    } catch (const std::bad_alloc&) {
        return outOfMemory("read the consent");
    }
}

Status ConsentFile::save(Consent consent) const {
    const std::string_view text = consentName(consent);
    auto temporary = path_;
    temporary.replace_filename(".zentara-consent.new");
    const auto file = files_.create(temporary);
    auto status = file.status();
    if (status.ok()) status = (*file)->write({&text, 1}, 0);
    if (status.ok()) status = (*file)->flush();
    if (status.ok()) status = files_.rename(temporary, path_);
    return status.ok() ? files_.flushFolder(path_.parent_path()) : status;
}

}  // namespace zentara
