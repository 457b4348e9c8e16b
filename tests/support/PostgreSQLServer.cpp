#include "support/PostgreSQLServer.h"

#include <arpa/inet.h>
#include <libpq-fe.h>
#include <netinet/in.h>
#include <pwd.h>
#include <sys/socket.h>
#include <sys/wait.h>
#include <unistd.h>

#include <stdexcept>

#include "support/WaitFor.h"

namespace zentara::test {

namespace {

std::string freePort() {
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    socklen_t size = sizeof address;
    void* const generic = &address;
    const int socket = ::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
    if (::bind(socket, static_cast<sockaddr*>(generic), size) != 0 ||
        ::getsockname(socket, static_cast<sockaddr*>(generic), &size) != 0) {
        throw std::runtime_error("no port is free");
    }
    ::close(socket);
    return std::to_string(ntohs(address.sin_port));
}

}  // namespace

PostgreSQLServer::PostgreSQLServer(const collector::Certificate* certificate)
    : port_(freePort()),
      url_("postgresql://tester@127.0.0.1:" + port_ + "/postgres"),
      hasTLS_(certificate != nullptr) {
    own(folder_.path());
    if (certificate != nullptr) {
        writeTo(folder_.path() / "server.crt", certificate->certificateText());
        writeTo(folder_.path() / "server.key", certificate->keyText());
        std::filesystem::permissions(folder_.path() / "server.key",
                                     std::filesystem::perms::owner_read);
        own(folder_.path() / "server.key");
    }
    ChildProcess initdb(command("initdb", {"-D", "data", "-U", "tester", "-A", "trust", "-N",
                                           "--no-locale", "-E", "UTF8"}));
    (void)initdb.readLines();
    if (initdb.wait() != 0) throw std::runtime_error("initdb has failed");
    start();
}

void PostgreSQLServer::own(const std::filesystem::path& path) const {
    if (::geteuid() != 0) return;
    const passwd* const user = ::getpwnam("nobody");
    if (user == nullptr || ::chown(path.c_str(), user->pw_uid, user->pw_gid) != 0)
        throw std::runtime_error("the server needs a user of its own");
}

std::vector<std::string> PostgreSQLServer::command(const std::string& program,
                                                   std::vector<std::string> arguments) const {
    // The folder of the caller may be closed to the other user.
    // It must not outlive a test that is killed.
    std::vector<std::string> words{"/usr/bin/env", "-C",          folder_.path().string(),
                                   "setpriv",      "--pdeathsig", "KILL"};
    if (::geteuid() == 0)
        words.insert(words.end(), {"--reuid=nobody", "--regid=nogroup", "--clear-groups"});
    words.push_back(ZENTARA_POSTGRESQL + ("/" + program));
    words.insert(words.end(), arguments.begin(), arguments.end());
    return words;
}

void PostgreSQLServer::kill() {
    process_->signal(SIGKILL);
    (void)process_->wait();
}

bool PostgreSQLServer::isRunning() const {
    if (!process_) return false;
    siginfo_t end{};
    return ::waitid(P_PID, static_cast<id_t>(process_->id()), &end, WEXITED | WNOHANG | WNOWAIT) ==
               0 &&
           end.si_pid == 0;
}

void PostgreSQLServer::start() {
    const auto isUp = eventually([&] {
        // After a kill it refuses to run until the last of its old processes has ended.
        if (!isRunning()) {
            process_.reset();
            process_.emplace(command("postgres", {"-D", "data",
                                                  "-k", folder_.path().string(),
                                                  "-p", port_,
                                                  "-c", "listen_addresses=127.0.0.1",
                                                  "-c", "fsync=off",
                                                  "-c", "shared_buffers=32MB",
                                                  "-c", "log_min_messages=panic",
                                                  "-c", hasTLS_ ? "ssl=on" : "ssl=off",
                                                  "-c", "ssl_cert_file=../server.crt",
                                                  "-c", "ssl_key_file=../server.key"}));
        }
        return PQping(url_.c_str()) == PQPING_OK;
    });
    if (!isUp) throw std::runtime_error("the server does not start");
}

}  // namespace zentara::test
