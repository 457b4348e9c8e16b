#pragma once

#include <string>

#include <zentara/ClientSettings.h>
#include <zentara/Export.h>
#include <zentara/Language.h>
#include <zentara/URL.h>

namespace zentara {

/// The places that the library talks to. The build gives every field a working default; a host
/// that runs its own collector replaces them before its first `ZentaraClient::get`.
///
/// ```cpp
/// auto endpoints = zentara::ZentaraEndpoints::current();
/// endpoints.qaCollector = "http://127.0.0.1:8080";
/// zentara::ZentaraEndpoints::use(endpoints);
/// ```
struct ZENTARA_EXPORT ZentaraEndpoints {
    std::string productionCollector;
    std::string qaCollector;
    std::string productionSchemas;
    std::string qaSchemas;

    /// A PEM file of the certificate authorities to trust instead of the system's, for a collector
    /// with a certificate of its own making; empty for the system's.
    std::string certificateAuthorityFile;

    /// Replaces the endpoints of this process. Each must be an http or https URL; one that is not
    /// is a fatal error that names it. Any thread.
    static void use(const ZentaraEndpoints& endpoints);

    /// The endpoints in force. Any thread.
    [[nodiscard]] static ZentaraEndpoints current();

    /// The base URL of the collector of `environment`.
    [[nodiscard]] static URL collector(ZentaraEnvironment environment);

    /// The base URL of the schemas service of `environment`.
    [[nodiscard]] static URL schemas(ZentaraEnvironment environment);
};

}  // namespace zentara
