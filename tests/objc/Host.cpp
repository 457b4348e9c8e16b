#include "objc/Host.h"

#include <boost/json/serialize.hpp>

#include <cstdlib>
#include <cstring>
#include <memory>

#include <zentara/ZentaraClient.h>
#include "support/CollectorProcess.h"
#include "support/Files.h"
#include "support/TemporaryDirectory.h"

using namespace zentara;
using namespace zentara::test;

namespace {

std::unique_ptr<TemporaryDirectory> directory;
std::unique_ptr<CollectorProcess> collectorProcess;

// Never destroyed: the process ends with the client in use.
auto& kept = *new std::shared_ptr<ZentaraClient>;

/// The port is reserved and nobody listens on it.
constexpr const char* nowhere = "http://127.0.0.1:1";

void useServer(const std::string& url) {
    ZentaraEndpoints::use({nowhere, url, nowhere, url, ""});
}

}  // namespace

void beginHost() {
    directory = std::make_unique<TemporaryDirectory>();
    HostApplication::setDocumentsDirectory(directory->path() / "documents");
    HostApplication::setPreferencesDirectory(directory->path() / "preferences");
    HostApplication::setBundleIdentifier("com.example.tests");
    useServer(nowhere);
}

void startCollector() {
    collectorProcess = std::make_unique<CollectorProcess>(ZENTARA_SCHEMAS);
    useServer(collectorProcess->url());
}

char* askCollector(const char* path) {
    return ::strdup(boost::json::serialize(collectorProcess->client().get(path)).c_str());
}

char* runExample() {
    ::setenv("XDG_DATA_HOME", (directory->path() / "data").c_str(), 1);
    ::setenv("XDG_CONFIG_HOME", (directory->path() / "config").c_str(), 1);
    // The example does not tell the sanitizers about GNUstep, unlike the tests.
    ::setenv("ASAN_OPTIONS", "detect_leaks=0", 1);
    ::setenv("TSAN_OPTIONS", "detect_deadlocks=0", 1);
    ChildProcess example({ZENTARA_OBJC_EXAMPLE, collectorProcess->url(), collectorProcess->url()});
    std::string output;
    for (const auto& line : example.readLines())
        output += line + '\n';
    return ::strdup((output + std::to_string(example.wait())).c_str());
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
