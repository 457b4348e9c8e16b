// A host application with its schemas inside:
//
//     zentara_embedded_host FOLDER SERVICES [SCHEMA-ID PROPERTIES]...
//
// Sends the events and prints what becomes of each.

#include <iostream>

#include "support/HostSetUp.h"
#include "zentara_embedded_host_schemas.h"

int main(int argc, char** argv) {
    using namespace zentara;
    if (argc < 3 || argc % 2 == 0) return 64;
    ZentaraClient::setLogSink(LogLevel::fatal, QuietLog());
    ZentaraClient::setBundledSchemas(shop::data::schemas);
    test::setUpHost(argv[1], argv[2], argv[2]);
    const auto client = ZentaraClient::get();
    for (int i = 3; i < argc; i += 2) {
        client->send({.schemaId = argv[i],
                      .schemaVersion = "1",
                      .properties = JSONValue::parse(argv[i + 1]).object()},
                     [](const EventRef& /*event*/, const ZentaraClientErrorRef& error) {
                         std::cout << (error ? error->what() : "queued") << '\n';
                     });
    }
    return 0;
}
