#pragma once

#include <zentara/ZentaraClient.h>

#include <cstdint>
#include <string>
#include <utility>

namespace zentara::test {

/// Sets up a host application: one folder for all of its files, the services to use and the file of
/// their certificate authority. Uses public headers only.
inline void setUpHost(const std::string& folder, const std::string& collector,
                      const std::string& schemas, const std::string& tenant = "tenant",
                      const std::string& authority = "") {
    HostApplication::setDocumentsDirectory(folder);
    HostApplication::setPreferencesDirectory(folder);
    auto endpoints = ZentaraEndpoints::current();
    endpoints.qaCollector = collector;
    endpoints.qaSchemas = schemas;
    endpoints.certificateAuthorityFile = authority;
    ZentaraEndpoints::use(endpoints);
    ZentaraClient::useSettings(tenant, ZentaraEnvironment::qa);
}

/// How many events have entered the queue and the unvalidated queue, less those that have left or
/// are still there. 0 and 0 while nothing is under way.
inline std::pair<std::int64_t, std::int64_t> imbalances(const ZentaraClientStatistics& books) {
    return {
        books.accepted + books.notSaved + books.released + books.restored -
            (books.delivered + books.evicted + books.discarded + books.waiting + books.inFlight),
        books.heldBack + books.heldBackNotSaved + books.heldBackRestored -
            (books.released + books.droppedInvalid + books.droppedUnknownSchema +
             books.heldBackEvicted + books.heldBackDiscarded + books.heldBackWaiting)};
}

}  // namespace zentara::test
