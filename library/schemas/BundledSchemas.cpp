#include "schemas/BundledSchemas.h"

#include <new>
#include <utility>

#include "json/JSONParser.h"
#include "schemas/SchemasServiceApi.h"
#include "support/FailureReporter.h"
#include "support/Mutex.h"
#include "support/NoDestructor.h"
#include "support/PlatformError.h"

namespace zentara {

namespace {

Guarded<std::string_view>& ofProcess() {
    static NoDestructor<Guarded<std::string_view>> instance;
    return *instance;
}

Result<JSONObject> tableIn(std::string_view text) {
    try {
        auto parsed = parseJSON(text);
        if (!parsed.ok()) return parsed.status();
        if (auto* const table = parsed->ifObject()) return std::move(*table);
        return std::make_shared<SchemasServiceError>("not a table of schemas");
    } catch (const std::bad_alloc&) {
        return outOfMemory("read the bundled schemas");
    }
}

}  // namespace

void BundledSchemas::use(std::string_view table) {
    ofProcess().set(table);
}

std::string_view BundledSchemas::current() {
    return ofProcess().get();
}

Result<std::vector<JSONObject>> BundledSchemas::load() {
    auto cached = cache_->load();
    if (table_.empty() || (cached.ok() && !cached->empty())) return cached;
    auto bundled = tableIn(table_);
    if (!bundled.ok()) {
        // Its end withdraws the failure: the fetch decides whether there are schemas.
        FailureReporter(Component::schemas, "the bundled schemas").report(bundled.status());
        return cached;
    }
    std::vector<JSONObject> tables;
    tables.push_back(*std::move(bundled));
    return tables;
}

}  // namespace zentara
