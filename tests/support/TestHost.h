#pragma once

#include <filesystem>
#include <memory>
#include <string>

#include <zentara/ClientSettings.h>
#include <zentara/HostApplication.h>
#include <zentara/ZentaraEndpoints.h>
#include "support/ClientSettingsAccess.h"
#include "support/Files.h"

namespace zentara::test {

/// A host with directories of its own, and with settings for the QA environment, for the length of
/// a test.
class TestHost {
  public:
    TestHost() {
        HostApplication::setDocumentsDirectory(documents());
        HostApplication::setPreferencesDirectory(directory_.path() / "preferences");
        HostApplication::setBundleIdentifier("com.example.tests");
        HostApplication::setDevice({"TestOS", "1.2", "Model3"});
        configure();
    }
    ~TestHost() { ClientSettingsAccess::setCurrent(nullptr); }
    TestHost(const TestHost&) = delete;
    TestHost& operator=(const TestHost&) = delete;

    static void configure() {
        auto settings = std::make_shared<ClientSettings>();
        settings->tenant = "tenant";
        settings->environment = ZentaraEnvironment::qa;
        ClientSettingsAccess::setCurrent(std::move(settings));
    }

    /// Sends the QA environment's traffic to this base URL.
    static void useServer(const URL& url) {
        auto endpoints = ZentaraEndpoints::current();
        endpoints.qaCollector = url.string();
        endpoints.qaSchemas = url.string();
        ZentaraEndpoints::use(endpoints);
    }

    [[nodiscard]] std::filesystem::path documents() const {
        return directory_.path() / "documents";
    }
    [[nodiscard]] std::filesystem::path file(const std::string& name) const {
        return documents() / name;
    }

  private:
    TemporaryDirectory directory_;
};

}  // namespace zentara::test
