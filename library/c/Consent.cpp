#include <cstdint>
#include <string>

#include "c/Boundary.h"

using namespace zentara;
using namespace zentara::c;

static_assert(static_cast<int>(Consent::granted) == ZENTARA_CONSENT_GRANTED &&
                  static_cast<int>(Consent::pending) == ZENTARA_CONSENT_PENDING &&
                  static_cast<int>(Consent::denied) == ZENTARA_CONSENT_DENIED,
              "the values are those of Consent");

namespace {

void refuseUnless(bool isWhole, const char* problem) {
    if (!isWhole) refuse(ZENTARA_FAILED, problem);
}

}  // namespace

zentara_status zentara_set_consent(zentara_consent consent) noexcept {
    return guarded([&] {
        if (consent < ZENTARA_CONSENT_GRANTED || consent > ZENTARA_CONSENT_DENIED) {
            refuse(ZENTARA_INVALID_ARGUMENT, "there is no consent " + std::to_string(consent));
        }
        refuseUnless(ZentaraClient::setConsent(static_cast<Consent>(consent)),
                     "the consent was not stored, or something could not be removed");
    });
}

zentara_consent zentara_get_consent() noexcept {
    return guardedOr<zentara_consent>(ZENTARA_CONSENT_PENDING, [] {
        return static_cast<zentara_consent>(ZentaraClient::consent());
    });
}

zentara_status zentara_forget_user() noexcept {
    return guarded(
        [] { refuseUnless(ZentaraClient::forgetUser(), "a file could not be removed"); });
}
