#include <zentara/CollectorClient.h>

using namespace zentara::collector;

/// Nobody listens on the port, which the client's own error tells.
int main() {
    try {
        return static_cast<int>(
            CollectorClient("http://127.0.0.1:1").count({.schema = "page-view-1"}));
    } catch (const CollectorError&) {
        return 0;
    }
}
