#include "support/TestServer.h"

#include <httplib.h>

#include <stdexcept>

namespace zentara::test {

TestServer::TestServer() : TestServer(std::make_unique<httplib::Server>(), "http") {}

TestServer::TestServer(const collector::Certificate& certificate)
    : TestServer(std::make_unique<httplib::SSLServer>(certificate.certificate.get(),
                                                      certificate.key.get()),
                 "https") {}

TestServer::TestServer(std::unique_ptr<httplib::Server> server, std::string scheme)
    : scheme_(std::move(scheme)),
      responder_([](const RecordedRequest&) { return TestAnswer{}; }),
      server_(std::move(server)) {
    const auto handle = [this](const httplib::Request& request, httplib::Response& response) {
        RecordedRequest recorded{request.method,
                                 request.target,
                                 {request.headers.begin(), request.headers.end()},
                                 request.body};
        Responder responder;
        {
            const std::lock_guard lock(mutex_);
            responder = responder_;
        }
        requests_.put(recorded);
        const TestAnswer answer = responder(recorded);
        response.status = answer.status;
        for (const auto& [name, value] : answer.headers)
            response.set_header(name, value);
        response.set_content(answer.body, "application/json");
    };
    server_->Get(".*", handle).Post(".*", handle).Put(".*", handle).Delete(".*", handle);
    // An idle connection would hold up the end of the server.
    server_->set_keep_alive_max_count(1);
    // Exchanges that are held open on purpose must not keep the others waiting.
    server_->new_task_queue = [] {
        return new httplib::ThreadPool(16);
    };
    port_ = server_->bind_to_any_port("127.0.0.1");
    if (port_ <= 0) throw std::runtime_error("no port for the test server");
    thread_ = std::thread([this] { server_->listen_after_bind(); });
    while (!server_->is_running())
        std::this_thread::yield();
}

TestServer::~TestServer() {
    server_->stop();
    thread_.join();
}

void TestServer::respond(Responder responder) {
    const std::lock_guard lock(mutex_);
    responder_ = std::move(responder);
}

URL TestServer::url(std::string_view target) const {
    std::string text = scheme_ + "://localhost:" + std::to_string(port_);
    return URL::parse(text.append(target)).value();
}

}  // namespace zentara::test
