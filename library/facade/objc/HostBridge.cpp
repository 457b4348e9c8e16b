#include <algorithm>
#include <string>

#include <zentara/HostApplication.h>
#include <zentara/ZentaraClient.h>
#include <zentara/ZentaraEndpoints.h>
#include "facade/objc/Handles.h"
#include "support/Diagnostics.h"
#include "support/WorkLimits.h"

using namespace zentara;

namespace {

ZentaraFailure bridgedFailure(const ZentaraClientFailure& failure) {
    return {bridged(failure.text), failure.time, failure.inARow};
}

}  // namespace

void zentaraFatalError(ZentaraText cause) noexcept {
    fatalError({cause.bytes, cause.length});
}

void zentaraWarn(ZentaraText line) noexcept {
    auto text = string(line);
    // A description of an application's object may have several lines.
    std::replace_if(
        text.begin(), text.end(), [](unsigned char character) { return character < ' '; }, ' ');
    printWarning(text);
}

size_t zentaraStackLeft() noexcept {
    return remainingStackSpace();
}

void zentaraUseEndpoints(ZentaraEndpointTexts texts) noexcept {
    auto endpoints = ZentaraEndpoints::current();
    const auto replace = [](std::string& value, ZentaraText text) {
        if (text.bytes != nullptr) value = string(text);
    };
    replace(endpoints.productionCollector, texts.productionCollector);
    replace(endpoints.qaCollector, texts.qaCollector);
    replace(endpoints.productionSchemas, texts.productionSchemas);
    replace(endpoints.qaSchemas, texts.qaSchemas);
    replace(endpoints.certificateAuthorityFile, texts.certificateAuthorityFile);
    ZentaraEndpoints::use(endpoints);
}

void zentaraSetBundleIdentifier(ZentaraText identifier) noexcept {
    HostApplication::setBundleIdentifier(string(identifier));
}

void zentaraSetDocumentsDirectory(ZentaraText path) noexcept {
    HostApplication::setDocumentsDirectory(string(path));
}

void zentaraSetPreferencesDirectory(ZentaraText path) noexcept {
    HostApplication::setPreferencesDirectory(string(path));
}

void zentaraReadStatistics(void* context,
                           void (*call)(void* context,
                                        const ZentaraStatistics* statistics)) noexcept {
    const auto all = ZentaraClient::statistics();
    ZentaraStatistics statistics{};
#define COPY_COUNT(name) statistics.name = all.name;
#define COPY_FAILURE(name) statistics.name = bridgedFailure(all.name);
    ZENTARA_EACH_COUNT(COPY_COUNT)
    ZENTARA_EACH_FAILURE(COPY_FAILURE)
#undef COPY_COUNT
#undef COPY_FAILURE
    call(context, &statistics);
}
