#include <zentara/CollectorClient.h>

/// The port has no listener, so the call throws the client's own error.
int main() {
    try {
        return static_cast<int>(
            zentara::collector::CollectorClient("http://127.0.0.1:1").count({}));
    } catch (const zentara::collector::CollectorError&) {
        return 0;
    }
}
