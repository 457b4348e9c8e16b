#include "facade/objc/StatisticsBridge.h"

#include <memory>

#include <zentara/ZentaraClient.h>
#include "facade/objc/ValueHandle.h"

using namespace zentara;

namespace {

JSONObject object(const ZentaraClientFailure& failure) {
    return {{"text", failure.text}, {"time", failure.time}, {"inARow", failure.inARow}};
}

}  // namespace

ZentaraObject* zentaraReadStatistics() noexcept {
    const auto all = ZentaraClient::statistics();
    auto values = std::make_unique<JSONObject>(JSONObject{
        {"accepted", all.accepted},
        {"heldBack", all.heldBack},
        {"notSaved", all.notSaved},
        {"heldBackNotSaved", all.heldBackNotSaved},
        {"refusedNotInitialized", all.refusedNotInitialized},
        {"refusedInvalid", all.refusedInvalid},
        {"refusedUnknownSchema", all.refusedUnknownSchema},
        {"refusedNotEncodable", all.refusedNotEncodable},
        {"released", all.released},
        {"droppedInvalid", all.droppedInvalid},
        {"droppedUnknownSchema", all.droppedUnknownSchema},
        {"heldBackEvicted", all.heldBackEvicted},
        {"delivered", all.delivered},
        {"evicted", all.evicted},
        {"batchesDelivered", all.batchesDelivered},
        {"batchesFailed", all.batchesFailed},
        {"restored", all.restored},
        {"heldBackRestored", all.heldBackRestored},
        {"waiting", all.waiting},
        {"underWay", all.underWay},
        {"heldBackWaiting", all.heldBackWaiting},
        {"schemasFailure", object(all.schemasFailure)},
        {"identityFailure", object(all.identityFailure)},
        {"deliveryFailure", object(all.deliveryFailure)},
        {"storageFailure", object(all.storageFailure)},
    });
    return const_cast<ZentaraObject*>(bridged(*values.release()));
}

void zentaraReleaseObject(ZentaraObject* object) noexcept {
    delete &unbridged(object);
}
