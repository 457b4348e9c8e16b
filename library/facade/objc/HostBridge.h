#pragma once

#include "facade/objc/Bridge.h"

/// The places that the library talks to. No text: as it is.
typedef struct ZentaraEndpointTexts {
    ZentaraText productionCollector;
    ZentaraText qaCollector;
    ZentaraText productionSchemas;
    ZentaraText qaSchemas;
    ZentaraText certificateAuthorityFile;
} ZentaraEndpointTexts;

ZENTARA_BRIDGE void zentaraUseEndpoints(ZentaraEndpointTexts texts) ZENTARA_NOEXCEPT;

ZENTARA_BRIDGE void zentaraSetBundleIdentifier(ZentaraText identifier) ZENTARA_NOEXCEPT;
ZENTARA_BRIDGE void zentaraSetDocumentsDirectory(ZentaraText path) ZENTARA_NOEXCEPT;
ZENTARA_BRIDGE void zentaraSetPreferencesDirectory(ZentaraText path) ZENTARA_NOEXCEPT;
