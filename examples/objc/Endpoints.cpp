#include "Endpoints.h"

#include <zentara/ZentaraEndpoints.h>

void useEndpoints(const char* collector, const char* schemas) {
    auto endpoints = zentara::ZentaraEndpoints::current();
    endpoints.qaCollector = collector;
    endpoints.qaSchemas = schemas;
    zentara::ZentaraEndpoints::use(endpoints);
}
