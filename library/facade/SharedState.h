#pragma once

#include <atomic>
#include <memory>

#include <zentara/ZentaraClient.h>
#include "support/Mutex.h"

namespace zentara {

/// The shared client of the process and its readiness; never destroyed.
struct SharedState {
    std::atomic<bool> isReady = false;

    /// Held while a client is built, so that concurrent first calls give one client, and while the
    /// library is shut down. No code of the host runs under it.
    Mutex buildMutex;

    Mutex mutex;
    std::shared_ptr<ZentaraClient> client ZENTARA_GUARDED_BY(mutex);

    [[nodiscard]] static SharedState& instance();
};

}  // namespace zentara
