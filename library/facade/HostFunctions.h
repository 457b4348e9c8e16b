#pragma once

#include <atomic>
#include <chrono>
#include <functional>
#include <memory>
#include <span>
#include <string_view>

#include <zentara/Delivery.h>
#include <zentara/Hooks.h>
#include <zentara/JSONValue.h>

namespace zentara {

class InternalEvent;

/// The functions and values that the host has set for the process. Immutable, so that a call works
/// with one state of them and without a lock. Any thread.
struct HostFunctions {
    // Wrapped by `HeldFunctions`, so that copies and their end run no code of the host.
    BeforeQueue beforeQueue;
    DeliveryObserver deliveryObserver;
    std::shared_ptr<const JSONObject> globalProperties;  ///< in valid UTF-8
    bool failsFast = false;
    std::chrono::seconds sessionTimeout{};  ///< zero or less: none

    /// Null while the host has set nothing: that answer costs one relaxed load.
    [[nodiscard]] static std::shared_ptr<const HostFunctions> current() {
        return isAnySet_.load(std::memory_order_relaxed) ? load() : nullptr;
    }

    /// `properties` with the global ones that have other names.
    [[nodiscard]] JSONObject withGlobalProperties(JSONObject properties) const;

    /// Replaces the functions with a copy that `edit` has changed. `edit` runs under a lock.
    static void change(const std::function<void(HostFunctions&)>& edit);

    /// Also forgets the log sink.
    static void forgetAll();

    /// Tells the observer, on a worker; without an observer nothing is copied, and without memory
    /// the notice is lost. A `DeliveryListener`.
    static void notifyObserver(DeliveryNotice::Kind kind, std::span<const InternalEvent> events,
                               std::string_view reason) noexcept;

  private:
    [[nodiscard]] static std::shared_ptr<const HostFunctions> load();
    [[nodiscard]] bool isAnySet() const noexcept {
        return beforeQueue || globalProperties || deliveryObserver || failsFast ||
               sessionTimeout.count() > 0;
    }

    static inline constinit std::atomic<bool> isAnySet_ = false;
};

}  // namespace zentara
