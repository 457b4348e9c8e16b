#include <zentara/ZentaraClient.h>

#include "embedded_schemas.h"

int main() {
    zentara::ZentaraClient::setBundledSchemas(embedded::schemas);
    return embedded::schemas == "{\"view-1\":{\"required\":[\"title\"]}}" ? 0 : 1;
}
