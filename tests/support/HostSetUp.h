#pragma once

#include <zentara/ZentaraClient.h>

#include <string>

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

}  // namespace zentara::test
