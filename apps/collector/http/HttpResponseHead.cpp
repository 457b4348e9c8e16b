#include "collector/http/HttpResponseHead.h"

#include <algorithm>
#include <boost/beast/http/status.hpp>
#include <iterator>
#include <ostream>
#include <string_view>

namespace zentara::collector {

namespace {

std::string statusLine(int status) {
    namespace http = boost::beast::http;
    const auto known = http::int_to_status(static_cast<unsigned>(status));
    const auto reason = http::obsolete_reason(known);
    std::string line = "HTTP/1.1 " + std::to_string(status) + " ";
    if (known != http::status::unknown) line.append(reason.data(), reason.size());
    return line + "\r\n";
}

/// Line breaks in a name or a value would start another header.
void append(std::string& head, std::string_view name, std::string_view value) {
    const auto appendText = [&head](std::string_view text) {
        std::copy_if(text.begin(), text.end(), std::back_inserter(head), [](char character) {
            return static_cast<unsigned char>(character) >= 0x20 || character == '\t';
        });
    };
    appendText(name);
    head += ": ";
    appendText(value);
    head += "\r\n";
}

}  // namespace

bool allowsBody(int status) {
    return status >= 200 && status != 204 && status != 304;
}

std::string responseHead(const HttpResponse& response, ConnectionUse use) {
    std::string head = statusLine(response.status);
    if (allowsBody(response.status)) {
        append(head, "Content-Length", std::to_string(response.body.size()));
        if (!response.contentType.empty()) append(head, "Content-Type", response.contentType);
        append(head, "X-Content-Type-Options", "nosniff");
    }
    for (const auto& [name, value] : response.headers)
        append(head, name, value);
    append(head, "Connection", use == ConnectionUse::again ? "keep-alive" : "close");
    return head + "\r\n";
}

std::string eventStreamHead() {
    std::string head = statusLine(200);
    append(head, "Content-Type", "text/event-stream");
    append(head, "Cache-Control", "no-store");
    append(head, "X-Content-Type-Options", "nosniff");
    append(head, "Connection", "close");
    return head + "\r\n";
}

}  // namespace zentara::collector
