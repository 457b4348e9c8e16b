#pragma once

#include <zentara/URL.h>
#include "support/Status.h"

namespace zentara {

/// `error` with the host of `url` in its text: the REST client's own errors and those of the JSON
/// parser do not name it. Null stays null, and so do errors that name the host already. Nothing of
/// `url` but the host gets into the text.
[[nodiscard]] ErrorRef withHost(const URL& url, const ErrorRef& error);

}  // namespace zentara
