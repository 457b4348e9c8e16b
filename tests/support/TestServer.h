#pragma once

#include <functional>
#include <map>
#include <memory>
#include <mutex>
#include <optional>
#include <stdexcept>
#include <string>
#include <string_view>
#include <thread>
#include <utility>
#include <vector>

#include <zentara/URL.h>
#include "collector/http/Certificate.h"
#include "support/Files.h"
#include "support/WaitFor.h"

namespace httplib {
class Server;
}

namespace zentara::test {

/// A new certificate authority, made as the collector makes its own.
class TestAuthority {
  public:
    TestAuthority() { writeTo(file(), own_.certificateText()); }

    /// The authority's certificate as a PEM file; gone with this object.
    [[nodiscard]] std::string file() const {
        return (directory_.path() / "authority.pem").string();
    }

    /// A certificate for these hosts below .localhost and .test, or for this machine under all its
    /// loopback names.
    [[nodiscard]] collector::Certificate issue(const std::vector<std::string>& names = {
                                                   "localhost", "127.0.0.1", "::1"}) const {
        return collector::makeServerCertificate(own_, "Test server", names, 1);
    }

    [[nodiscard]] collector::Certificate issueExpired() const {
        auto issued = issue();
        ::X509_gmtime_adj(::X509_getm_notAfter(issued.certificate.get()), -60);
        if (::X509_sign(issued.certificate.get(), own_.key.get(), ::EVP_sha256()) <= 0) {
            throw std::runtime_error("cannot sign");
        }
        return issued;
    }

  private:
    TemporaryDirectory directory_;
    const collector::Certificate own_ =
        collector::makeAuthority(directory_.path().filename().string(), 1);
};

/// A request as the server received it.
struct RecordedRequest {
    std::string method;
    std::string target;  ///< the path, with the query if there is one
    std::map<std::string, std::string> headers;
    std::string body;

    /// The value of a header, whose name must be spelt as it was sent; nothing without it.
    [[nodiscard]] std::optional<std::string> header(const std::string& name) const {
        const auto found = headers.find(name);
        return found == headers.end() ? std::nullopt : std::optional(found->second);
    }
};

struct TestAnswer {
    int status = 200;
    std::string body = "{}";
    std::vector<std::pair<std::string, std::string>> headers = {};
};

/// A real HTTP or HTTPS server on a free port of the loopback interface. Records the requests and
/// closes each connection after its answer.
class TestServer {
  public:
    /// Runs on a thread of the server, several at a time; it may block.
    using Responder = std::function<TestAnswer(const RecordedRequest&)>;

    /// An HTTP server that answers 200 with "{}" until told otherwise.
    TestServer();
    /// The same over HTTPS.
    explicit TestServer(const collector::Certificate& certificate);
    ~TestServer();
    TestServer(const TestServer&) = delete;
    TestServer& operator=(const TestServer&) = delete;

    /// Decides the answers from now on.
    void respond(Responder responder);

    [[nodiscard]] URL url(std::string_view target = "") const;

    /// All requests so far, in the order in which they were read.
    [[nodiscard]] std::vector<RecordedRequest> requests() const { return requests_.values(); }

  private:
    TestServer(std::unique_ptr<httplib::Server> server, std::string scheme);

    const std::string scheme_;
    int port_ = 0;
    Mailbox<RecordedRequest> requests_;
    std::mutex mutex_;
    Responder responder_;  // guarded by mutex_
    std::unique_ptr<httplib::Server> server_;
    std::thread thread_;
};

}  // namespace zentara::test
