#include "facade/HostFunctions.h"

#include <new>
#include <string>
#include <utility>

#include "model/InternalEvent.h"
#include "support/Diagnostics.h"
#include "support/Mutex.h"
#include "support/NoDestructor.h"
#include "support/threads/WorkerPool.h"

namespace zentara {

namespace {

Guarded<std::shared_ptr<const HostFunctions>>& functions() {
    static NoDestructor<Guarded<std::shared_ptr<const HostFunctions>>> instance;
    return *instance;
}

}  // namespace

std::shared_ptr<const HostFunctions> HostFunctions::load() {
    return functions().get();
}

JSONObject HostFunctions::withGlobalProperties(JSONObject properties) const {
    if (!globalProperties) return properties;
    for (const auto& [name, value] : *globalProperties) {
        if (!properties.contains(name)) properties.set(name, value);
    }
    return properties;
}

void HostFunctions::change(const std::function<void(HostFunctions&)>& edit) {
    // Locked from the copy to the exchange, so that two changes at once both hold.
    static NoDestructor<Mutex> changing;
    const MutexLock lock(*changing);
    const auto previous = load();
    auto next = std::make_shared<HostFunctions>();
    if (previous) *next = *previous;
    edit(*next);
    isAnySet_ = next->isAnySet();
    functions().set(next->isAnySet() ? std::move(next) : nullptr);
}

void HostFunctions::forgetAll() {
    change([](HostFunctions& all) { all = {}; });
    setLogSink(LogLevel::info, nullptr);
}

void HostFunctions::notifyObserver(DeliveryNotice::Kind kind, std::span<const InternalEvent> events,
                                   std::string_view reason) noexcept {
    try {
        const auto now = current();
        if (!now || !now->deliveryObserver || events.empty()) return;
        DeliveryNotice notice{kind, {}, std::string(reason)};
        notice.actionUUIDs.reserve(events.size());
        for (const auto& event : events)
            notice.actionUUIDs.emplace_back(event.actionUUIDText());
        // The observer is looked up when it is called: a notice that waits holds nothing of the
        // host's.
        Strand::forHostCallbacks().async([notice = std::move(notice)] {
            const auto then = current();
            if (then && then->deliveryObserver) then->deliveryObserver(notice);
        });
    } catch (const std::bad_alloc&) {
        // The statistics still count the events.
    }
}

}  // namespace zentara
