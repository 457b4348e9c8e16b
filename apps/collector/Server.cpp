#include "collector/Server.h"

#include <httplib.h>
#include <sys/socket.h>

#include <algorithm>
#include <array>
#include <chrono>
#include <future>
#include <optional>
#include <stdexcept>
#include <string>
#include <string_view>

namespace zentara::collector {

namespace {

// The HTTP library adds these to the headers that the client has sent.
constexpr std::array<std::string_view, 4> addedHeaders{"REMOTE_ADDR", "REMOTE_PORT", "LOCAL_ADDR",
                                                       "LOCAL_PORT"};

// Its routes are regular expressions, which run on the stack in proportion to the path.
constexpr std::size_t longestPath = 1024;

HttpRequest requestFrom(const httplib::Request& http, std::string body) {
    using namespace std::chrono;
    HttpRequest request;
    request.receivedAt =
        duration_cast<milliseconds>(system_clock::now().time_since_epoch()).count();
    request.method = http.method;
    request.target = http.target;
    request.path = http.path;
    request.query.assign(http.params.begin(), http.params.end());
    for (const auto& [name, value] : http.headers) {
        const auto* added = std::find(addedHeaders.begin(), addedHeaders.end(), name);
        if (added == addedHeaders.end()) request.headers.emplace_back(name, value);
    }
    request.body = std::move(body);
    return request;
}

void write(HttpResponse response, httplib::Response& http) {
    http.status = response.status;
    for (const auto& [name, value] : response.headers)
        http.set_header(name, value);
    http.body = std::move(response.body);
    http.set_header("Content-Type", "application/json");
}

bool announcesBody(const httplib::Request& request) {
    constexpr std::array<std::string_view, 4> methods{"POST", "PUT", "PATCH", "DELETE"};
    return std::find(methods.begin(), methods.end(), request.method) != methods.end() &&
           (request.has_header("Content-Length") || request.has_header("Transfer-Encoding"));
}

/// Reads the body to its end, but keeps no more than the limit of it. Nothing, with the status of
/// the response set, when it is larger or cannot be read.
std::optional<std::string> readBody(const httplib::ContentReader& reader,
                                    httplib::Response& response) {
    std::string body;
    bool tooLarge = false;
    const bool complete = reader([&](const char* data, std::size_t size) {
        tooLarge = tooLarge || size > Server::bodyLimit - body.size();
        if (!tooLarge) body.append(data, size);
        return true;
    });
    if (complete && !tooLarge) return body;
    // The HTTP library sets 413 itself when the announced length tells.
    response.status = tooLarge || response.status == 413 ? 413 : 400;
    return std::nullopt;
}

std::string refusalReason(int status) {
    switch (status) {
        case 413:
            return "a body has at most " + std::to_string(Server::bodyLimit) + " bytes";
        case 414:
            return "a path has at most " + std::to_string(longestPath) + " bytes";
        default:
            return "the request was not understood";
    }
}

// Without SO_REUSEPORT, which the HTTP library would set: with it a second collector on the same
// port would start and silently get half of the connections.
void setSocketOptions(socket_t socket) {
    const int yes = 1;
    ::setsockopt(socket, SOL_SOCKET, SO_REUSEADDR, &yes, sizeof yes);
}

}  // namespace

Server::Server(Services& services)
    : services_(services), http_(std::make_unique<httplib::Server>()) {
    http_->set_socket_options(setSocketOptions);
    http_->set_tcp_nodelay(true);
    http_->set_keep_alive_timeout(1);
    http_->set_keep_alive_max_count(1'000'000);
    http_->set_payload_max_length(bodyLimit);

    // The HTTP library waits for the body of a request that does not tell its length until the
    // connection ends; such a request has none here.
    http_->set_pre_routing_handler(
        [this](const httplib::Request& request, httplib::Response& response) {
            if (request.path.size() > longestPath) {
                response.status = 414;
                return httplib::Server::HandlerResponse::Handled;
            }
            if (announcesBody(request)) return httplib::Server::HandlerResponse::Unhandled;
            write(services_.answer(requestFrom(request, {})), response);
            return httplib::Server::HandlerResponse::Handled;
        });
    const auto answer = [this](const httplib::Request& request, httplib::Response& response,
                               const httplib::ContentReader& reader) {
        auto body = readBody(reader, response);
        if (!body) return;
        write(services_.answer(requestFrom(request, std::move(*body))), response);
    };
    http_->Post(".*", answer);
    http_->Put(".*", answer);
    http_->Patch(".*", answer);
    http_->Delete(".*", answer);

    // Also runs for what the services have refused; what has no body yet was refused before them.
    http_->set_error_handler([this](const httplib::Request& request, httplib::Response& response) {
        if (!response.body.empty()) return;
        const int status = response.status;
        write(services_.refuse(requestFrom(request, {}), status, refusalReason(status)), response);
    });
}

Server::~Server() {
    stop();
}

int Server::start(int port, std::function<void()> onEnd) {
    const std::string host = "127.0.0.1";
    const int wanted = port;
    if (wanted == 0) {
        port = http_->bind_to_any_port(host);
    } else if (!http_->bind_to_port(host, wanted)) {
        port = -1;
    }
    if (port <= 0) {
        throw std::runtime_error("port " + std::to_string(wanted) +
                                 " cannot be had; is it in use?");
    }

    // The HTTP library asks for its threads when it has begun to listen. Before that, a call of its
    // stop would go unheard.
    std::promise<void> listening;
    http_->new_task_queue = [&listening] {
        auto* workers = new httplib::ThreadPool(workerCount);
        listening.set_value();
        return workers;
    };
    listener_ = std::thread([this, onEnd = std::move(onEnd)] {
        const bool stopped = http_->listen_after_bind();
        if (!stopped && onEnd) onEnd();
    });
    listening.get_future().wait();
    return port;
}

void Server::stop() {
    if (!listener_.joinable()) return;
    http_->stop();
    listener_.join();
}

}  // namespace zentara::collector
