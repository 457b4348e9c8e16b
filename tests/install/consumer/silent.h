// For C and C++.
#include <arpa/inet.h>
#include <string.h>
#include <sys/socket.h>

/// A port of this machine that takes connections and never answers. 0 if there is none.
static int silentPort(void) {
    struct sockaddr_in address;
    socklen_t length = sizeof address;
    memset(&address, 0, length);
    address.sin_family = AF_INET;
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    const int server = socket(AF_INET, SOCK_STREAM, 0);
    if (bind(server, (struct sockaddr*)&address, length) != 0 || listen(server, 8) != 0 ||
        getsockname(server, (struct sockaddr*)&address, &length) != 0) {
        return 0;
    }
    return ntohs(address.sin_port);
}
