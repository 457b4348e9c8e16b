#include "facade/objc/HostBridge.h"

#include <zentara/HostApplication.h>
#include <zentara/ZentaraEndpoints.h>
#include "facade/objc/BridgeText.h"

using namespace zentara;

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
