#include <zentara/CollectorClient.h>

/// Nobody listens on the port, which the client's own error tells.
int main() {
    try {
        return static_cast<int>(
            zentara::collector::CollectorClient("http://127.0.0.1:1").count({}));
    } catch (const zentara::collector::CollectorError&) {
        return 0;
    }
}
