#pragma once

#include <zentara/ZentaraClient.h>

#include <string>

namespace zentara::test {

/// What a host application of the tests does before its first `get`: it names one folder for all of
/// its files, and the services to use. With the public headers only.
inline void setUpHost(const std::string& folder, const std::string& collector,
                      const std::string& schemas, const std::string& tenant) {
    HostApplication::setDocumentsDirectory(folder);
    HostApplication::setPreferencesDirectory(folder);
    auto endpoints = ZentaraEndpoints::current();
    endpoints.qaCollector = collector;
    endpoints.qaSchemas = schemas;
    ZentaraEndpoints::use(endpoints);
    ZentaraClient::useSettings(tenant, ZentaraEnvironment::qa);
}

}  // namespace zentara::test
