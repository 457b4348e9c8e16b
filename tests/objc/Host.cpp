#include "objc/Host.h"

#include <zentara/JSONValue.h>

#include <cstring>
#include <memory>

#include <zentara/ZentaraClient.h>
#include "support/CollectorProcess.h"
#include "support/Files.h"

using namespace zentara;
using namespace zentara::test;

namespace {

std::unique_ptr<TemporaryDirectory> directory;
std::unique_ptr<CollectorProcess> collectorProcess;

// Never destroyed: the process ends with the client in use.
auto& kept = *new std::shared_ptr<ZentaraClient>;

void useServer(const std::string& url) {
    // The port is reserved; nothing listens on it.
    const std::string nowhere = "http://127.0.0.1:1";
    ZentaraEndpoints::use({nowhere, url, nowhere, url, ""});
}

}  // namespace

void beginHost() {
    directory = std::make_unique<TemporaryDirectory>();
    HostApplication::setDocumentsDirectory(directory->path() / "documents");
    HostApplication::setPreferencesDirectory(directory->path() / "preferences");
    HostApplication::setBundleIdentifier("com.example.tests");
    useServer("http://127.0.0.1:1");
}

char* settingsInForce() {
    const auto settings = ClientSettings::current();
    const auto environment = std::to_string(static_cast<int>(settings->environment));
    const auto text =
        settings->tenant + " " + environment + " " + settings->advertisingId.value_or("(none)");
    return ::strdup(text.c_str());
}

char* policyInForce() {
    const auto policy = ClientSettings::current()->delivery;
    const auto text =
        "continue " + std::to_string(policy.continueAtOnce) + " size " +
        std::to_string(policy.largestBodySize) + " gzip " + std::to_string(policy.compressBodies) +
        " backOff " + std::to_string(policy.backOff) + " isolate " +
        std::to_string(policy.isolateRefused) + " reuse " + std::to_string(policy.reuseConnections);
    return ::strdup(text.c_str());
}

char* hostInForce() {
    const auto all = ZentaraEndpoints::current();
    const auto text = all.productionCollector + " " + all.qaCollector + " " +
                      all.productionSchemas + " " + all.qaSchemas + " " +
                      all.certificateAuthorityFile + " " + HostApplication::bundleIdentifier() +
                      " " + HostApplication::documentsDirectory().value_or("").string() + " " +
                      HostApplication::preferencesDirectory().value_or("").string();
    return ::strdup(text.c_str());
}

void startCollector() {
    collectorProcess = std::make_unique<CollectorProcess>(ZENTARA_SCHEMAS);
    useServer(collectorProcess->url());
}

char* askCollector(const char* path) {
    return ::strdup(collectorProcess->client().get(path).text().c_str());
}

char* documentOf(const char* name) {
    return ::strdup(contentsOf(directory->path() / "documents" / name).c_str());
}

void keepClientInCPlusPlus() {
    kept = ZentaraClient::sharedClient()->shared_from_this();
}

void shareKeptClient() {
    ZentaraClient::setSharedClient(kept);
}
