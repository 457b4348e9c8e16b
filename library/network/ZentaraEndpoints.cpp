#include "network/ZentaraEndpoints.h"

#include "support/Diagnostics.h"
#include "support/Mutex.h"
#include "support/NoDestructor.h"

namespace zentara {

namespace {

struct EndpointsRecord {
    Mutex mutex;
    ZentaraEndpoints endpoints ZENTARA_GUARDED_BY(mutex) = {
        ZENTARA_PRODUCTION_COLLECTOR_URL,
        ZENTARA_QA_COLLECTOR_URL,
        ZENTARA_PRODUCTION_SCHEMAS_URL,
        ZENTARA_QA_SCHEMAS_URL,
        "",
    };
};

EndpointsRecord& record() {
    static NoDestructor<EndpointsRecord> instance;
    return *instance;
}

URL endpoint(const std::string& text) {
    auto url = URL::parse(text);
    if (!url || (url->scheme() != "http" && url->scheme() != "https")) {
        // What stands before the host may be a password.
        const auto at = text.rfind('@');
        const auto shown = at == std::string::npos ? text : "..." + text.substr(at);
        fatalError("not an http or https URL: '" + shown + "'");
    }
    return *std::move(url);
}

}  // namespace

void ZentaraEndpoints::use(const ZentaraEndpoints& endpoints) {
    for (const auto* text : {&endpoints.productionCollector, &endpoints.qaCollector,
                             &endpoints.productionSchemas, &endpoints.qaSchemas}) {
        static_cast<void>(endpoint(*text));
    }
    const MutexLock lock(record().mutex);
    record().endpoints = endpoints;
}

ZentaraEndpoints ZentaraEndpoints::current() {
    const MutexLock lock(record().mutex);
    return record().endpoints;
}

URL ZentaraEndpoints::collector(ZentaraEnvironment environment) {
    const auto all = current();
    return endpoint(environment == ZentaraEnvironment::production ? all.productionCollector
                                                                  : all.qaCollector);
}

URL ZentaraEndpoints::schemas(ZentaraEnvironment environment) {
    const auto all = current();
    return endpoint(environment == ZentaraEnvironment::production ? all.productionSchemas
                                                                  : all.qaSchemas);
}

}  // namespace zentara
