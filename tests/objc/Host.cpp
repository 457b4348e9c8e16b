#include "objc/Host.h"

#include <signal.h>

#include <cstdlib>
#include <cstring>
#include <memory>

#include <zentara/ZentaraClient.h>
#include "support/ChildProcess.h"
#include "support/Files.h"
#include "support/TemporaryDirectory.h"

using namespace zentara;
using namespace zentara::test;

namespace {

std::unique_ptr<TemporaryDirectory> directory;
std::unique_ptr<ChildProcess> collector;
std::string collectorURL;

std::shared_ptr<ZentaraClient> kept;

void useServer(const std::string& url) {
    ZentaraEndpoints::use({url, url, url, url, ""});
}

char* copyOf(const std::string& text) {
    return ::strdup(text.c_str());
}

/// Adds to the options of a sanitizer in the processes to come.
void addOption(const char* variable, const std::string& option) {
    const char* options = std::getenv(variable);
    ::setenv(variable, ((options == nullptr ? "" : options + std::string(":")) + option).c_str(),
             1);
}

std::string outputOf(ChildProcess& process) {
    std::string output;
    for (const auto& line : process.readLines())
        output += line + '\n';
    return output;
}

}  // namespace

void beginHost() {
    directory = std::make_unique<TemporaryDirectory>();
    HostApplication::setDocumentsDirectory(directory->path() / "documents");
    HostApplication::setPreferencesDirectory(directory->path() / "preferences");
    HostApplication::setBundleIdentifier("com.example.tests");
    // The port is reserved and nobody listens on it.
    useServer("http://127.0.0.1:1");
}

void startCollector() {
    collector = std::make_unique<ChildProcess>(
        std::vector<std::string>{ZENTARA_COLLECTOR_COMMAND, "--schemas", ZENTARA_SCHEMAS});
    const auto line = collector->readLine().value_or("");
    collectorURL = line.substr(line.find("http"));
    useServer(collectorURL);
}

char* askCollector(const char* path) {
    ChildProcess curl({ZENTARA_CURL, "--silent", "--fail", collectorURL + path});
    return copyOf(outputOf(curl));
}

char* runExample(int* exitCode) {
    ::setenv("XDG_DATA_HOME", (directory->path() / "data").c_str(), 1);
    ::setenv("XDG_CONFIG_HOME", (directory->path() / "config").c_str(), 1);
    // The example does not tell the sanitizers about GNUstep, unlike the tests.
    addOption("ASAN_OPTIONS", "detect_leaks=0");
    addOption("TSAN_OPTIONS", "detect_deadlocks=0");
    ChildProcess example({ZENTARA_OBJC_EXAMPLE, collectorURL, collectorURL});
    const auto output = outputOf(example);
    *exitCode = example.wait();
    return copyOf(output);
}

char* documentOf(const char* name) {
    return copyOf(contentsOf(directory->path() / "documents" / name));
}

char* settingsOfCPlusPlus() {
    const auto settings = ClientSettings::current();
    return copyOf(settings->tenant + ", " +
                  std::to_string(static_cast<std::int64_t>(settings->environment)) + ", " +
                  settings->advertisingId.value_or("none"));
}

const void* sharedClientOfCPlusPlus() {
    return ZentaraClient::sharedClient().get();
}

void keepClientInCPlusPlus() {
    kept = ZentaraClient::sharedClient()->shared_from_this();
}

void shareKeptClient() {
    ZentaraClient::setSharedClient(kept);
}

void letGoOfKeptClient() {
    kept = nullptr;
}

void getInCPlusPlus() {
    ZentaraClient::get();
}

void resetSharedClientInCPlusPlus() {
    ZentaraClient::setSharedClient(nullptr);
}
