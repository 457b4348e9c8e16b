#include "facade/objc/Bridge.h"

#include <algorithm>
#include <memory>
#include <string>

#include <zentara/ZentaraClient.h>
#include "c/Handles.h"
#include "facade/ZentaraClientAccess.h"
#include "json/JSONText.h"
#include "support/WorkLimits.h"

using namespace zentara;

namespace {

/// A pointer to the client that also owns `keeper`.
std::shared_ptr<ZentaraClient> keptBy(ZentaraHeld keeper,
                                      const std::shared_ptr<ZentaraClient>& client) {
    return {std::shared_ptr<void>(keeper.object, keeper.release), client.get()};
}

}  // namespace

void zentaraFatalError(const char* cause) noexcept {
    ZentaraClientAccess::fail(cause);
}

void zentaraWarn(zentara_text line) noexcept {
    std::string text(line.bytes, line.length);
    // The description of an object of the application may have several lines.
    std::replace_if(
        text.begin(), text.end(), [](unsigned char character) { return character < ' '; }, ' ');
    ZentaraClientAccess::warn(text);
}

size_t zentaraStackLeft() noexcept {
    return remainingStackSpace();
}

size_t zentaraQueuedDepth() noexcept {
    return maximumPropertiesDepth;
}

zentara_client* zentaraMakePlainClient() noexcept {
    return std::make_unique<zentara_client>(ZentaraClientAccess::makePlain()).release();
}

const void* zentaraClientIdentity(const zentara_client* client) noexcept {
    return client->client.get();
}

void zentaraSetSharedClient(const zentara_client* client, ZentaraHeld keeper) noexcept {
    ZentaraClient::setSharedClient(client == nullptr ? nullptr : keptBy(keeper, client->client));
}

void zentaraKeepWhileShared(const zentara_client* client, ZentaraHeld keeper) noexcept {
    const auto holder = keptBy(keeper, client->client);
    const auto shared = ZentaraClient::sharedClient();
    // A pointer with a keeper has another owner than the client.
    const bool hasKeeper =
        shared.owner_before(client->client) || client->client.owner_before(shared);
    if (shared == holder && !hasKeeper) ZentaraClientAccess::holdSharedClient(holder);
}

zentara_error* zentaraRefuseEvent(const zentara_client* client, zentara_text schemaId) noexcept {
    const std::string id(schemaId.bytes, schemaId.length);
    return std::make_unique<zentara_error>(ZentaraClientAccess::refuse(*client->client, id))
        .release();
}
