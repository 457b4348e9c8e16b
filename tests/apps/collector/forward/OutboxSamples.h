#pragma once

#include <future>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "collector/forward/Outbox.h"

namespace zentara::collector::samples {

inline std::shared_ptr<const Envelope> taken(const std::string& client,
                                             const std::vector<std::string>& uuids) {
    auto envelope = std::make_shared<Envelope>();
    envelope->clientUUID = client;
    envelope->tenant = "tenant-of-" + client;
    std::int64_t sequence = 40;
    for (const auto& uuid : uuids) {
        envelope->actions.push_back({.schema = "page-view-1",
                                     .uuid = uuid,
                                     .contextID = "context-" + uuid,
                                     .sequence = ++sequence,
                                     .actionTs = sequence * 1000,
                                     .json = R"({"of":")" + uuid + "\"}"});
    }
    return envelope;
}

/// Events of a client, all good.
inline Outbox::Entry entry(std::int64_t receivedAt, const std::string& client,
                           const std::vector<std::string>& uuids) {
    return {.receivedAt = receivedAt,
            .user = {"GST", "token-of-" + client},
            .facts = R"("clientUUID":")" + client + "\"",
            .findings = std::vector<std::string>(uuids.size(), "[]"),
            .envelope = taken(client, uuids)};
}

/// Waits for the commit; the reason of a failure, or an empty text.
inline std::string add(Outbox& outbox, Outbox::Entry entry) {
    std::promise<std::string> added;
    outbox.add(std::move(entry), [&](const std::string& failure) { added.set_value(failure); });
    return added.get_future().get();
}

using Batch = std::shared_ptr<const Outbox::Batch>;

inline std::string settle(Outbox& outbox, const Batch& batch, std::vector<Handover> results) {
    std::promise<std::string> settled;
    outbox.settle(batch, std::move(results),
                  [&](const std::string& failure) { settled.set_value(failure); });
    return settled.get_future().get();
}

inline std::vector<std::string> uuidsIn(const Batch& batch) {
    std::vector<std::string> uuids;
    for (const ForwardedEvent& event : batch->events())
        uuids.emplace_back(event.actionUUID);
    return uuids;
}

}  // namespace zentara::collector::samples
