#include "network/ZentaraEndpoints.h"

#include "support/Diagnostics.h"
#include "support/Mutex.h"
#include "support/NoDestructor.h"

namespace zentara {

namespace {

Guarded<ZentaraEndpoints>& endpointsInForce() {
    static NoDestructor<Guarded<ZentaraEndpoints>> instance(ZentaraEndpoints{
        ZENTARA_PRODUCTION_COLLECTOR_URL,
        ZENTARA_QA_COLLECTOR_URL,
        ZENTARA_PRODUCTION_SCHEMAS_URL,
        ZENTARA_QA_SCHEMAS_URL,
        "",
    });
    return *instance;
}

URL endpoint(const std::string& text) {
    auto url = URL::parse(text);
    if (!url || (url->scheme() != "http" && url->scheme() != "https")) {
        // The text before the host may hold a password.
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
    endpointsInForce().set(endpoints);
}

ZentaraEndpoints ZentaraEndpoints::current() {
    return endpointsInForce().get();
}

URL ZentaraEndpoints::collector(ZentaraEnvironment environment) {
    const bool isProduction = environment == ZentaraEnvironment::production;
    return endpoint(isProduction ? current().productionCollector : current().qaCollector);
}

URL ZentaraEndpoints::schemas(ZentaraEnvironment environment) {
    const bool isProduction = environment == ZentaraEnvironment::production;
    return endpoint(isProduction ? current().productionSchemas : current().qaSchemas);
}

}  // namespace zentara
