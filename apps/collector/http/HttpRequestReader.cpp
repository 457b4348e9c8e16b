#include "collector/http/HttpRequestReader.h"

#include <algorithm>
#include <boost/asio/buffer.hpp>
#include <boost/beast/http/basic_parser.hpp>
#include <boost/beast/http/error.hpp>
#include <chrono>
#include <utility>

#include "support/ASCII.h"

namespace zentara::collector {

namespace http = boost::beast::http;

namespace {

using ErrorCode = boost::beast::error_code;

std::int64_t now() {
    using namespace std::chrono;
    return duration_cast<milliseconds>(system_clock::now().time_since_epoch()).count();
}

std::string_view viewOf(boost::beast::string_view text) {
    return {text.data(), text.size()};
}

std::string bodyTooLarge() {
    return "a body has at most " + std::to_string(HttpRequestReader::bodyLimit) + " bytes";
}

/// Where the head ends, its empty line included.
struct HeadEnd {
    enum class Kind { found, later, never };
    Kind kind;
    std::size_t at;
};

/// Detects early what cannot become a head, such as the first bytes of TLS, after which no empty
/// line would follow.
HeadEnd findHeadEnd(std::string_view bytes, std::size_t from) {
    for (std::size_t at = from; at < bytes.size(); ++at) {
        const char byte = bytes[at];
        const bool isControl = static_cast<unsigned char>(byte) < 0x20;
        if (!isControl || byte == '\r' || byte == '\t') continue;
        if (byte != '\n' || at == 0 || bytes[at - 1] != '\r') return {HeadEnd::Kind::never, at};
        if (at >= 3 && bytes[at - 2] == '\n') return {HeadEnd::Kind::found, at + 1};
    }
    return {HeadEnd::Kind::later, bytes.size()};
}

}  // namespace

/// Beast's grammar of HTTP/1, which fills in an `HttpRequest`.
class HttpRequestReader::Parser : public http::basic_parser<true> {
  public:
    HttpRequest request;
    std::string authority;  // of the target
    bool isHttp11 = false;
    bool hasTooManyFields = false;

  private:
    void on_request_impl(http::verb, boost::beast::string_view method,
                         boost::beast::string_view target, int version, ErrorCode& error) override {
        isHttp11 = version >= 11;
        request.method = viewOf(method);
        request.target = viewOf(target);
        auto read = readTarget(request.target);
        if (!read) {
            error = http::error::bad_target;
            return;
        }
        request.path = std::move(read->path);
        request.query = std::move(read->query);
        authority = std::move(read->authority);
    }
    void on_field_impl(http::field, boost::beast::string_view name, boost::beast::string_view value,
                       ErrorCode& error) override {
        // Fields after the last chunk are not kept.
        if (is_header_done()) return;
        if (request.headers.size() == fieldLimit) {
            hasTooManyFields = true;
            error = http::error::header_limit;
            return;
        }
        request.headers.emplace_back(viewOf(name), viewOf(value));
    }
    std::size_t on_body_impl(boost::beast::string_view bytes, ErrorCode&) override {
        request.body.append(bytes.data(), bytes.size());
        return bytes.size();
    }
    std::size_t on_chunk_body_impl(std::uint64_t, boost::beast::string_view bytes,
                                   ErrorCode& error) override {
        return on_body_impl(bytes, error);
    }
    void on_response_impl(int, boost::beast::string_view, int, ErrorCode&) override {}
    void on_header_impl(ErrorCode&) override {}
    void on_body_init_impl(const boost::optional<std::uint64_t>&, ErrorCode&) override {}
    void on_chunk_header_impl(std::uint64_t, boost::beast::string_view, ErrorCode&) override {}
    void on_finish_impl(ErrorCode&) override {}
};

HttpRequestReader::HttpRequestReader(Names names)
    : parser_(std::make_unique<Parser>()), names_(names) {
    parser_->header_limit(headLimit);
    parser_->body_limit(bodyLimit);
}

HttpRequestReader::~HttpRequestReader() = default;

std::size_t HttpRequestReader::take(std::string_view bytes) {
    switch (state_) {
        case State::head:
            return takeHead(bytes);
        case State::body:
            return takeBody(bytes);
        default:
            return 0;
    }
}

std::size_t HttpRequestReader::takeHead(std::string_view bytes) {
    // Some clients send an empty line after a body.
    std::size_t skipped = 0;
    if (scanned_ == 0) {
        while (bytes.substr(skipped, 2) == "\r\n")
            skipped += 2;
        bytes.remove_prefix(skipped);
    }
    const HeadEnd end = findHeadEnd(bytes.substr(0, headLimit), scanned_);
    if (end.kind == HeadEnd::Kind::found) {
        parseHead(bytes.substr(0, end.at));
        return skipped + end.at;
    }
    if (end.kind == HeadEnd::Kind::never) {
        refuse(400, "the request is malformed: its head holds a control character");
        return skipped;
    }
    // A carriage return alone may be the first half of an empty line to skip.
    scanned_ = end.at == 1 && bytes.front() == '\r' ? 0 : end.at;
    if (bytes.size() < headLimit) return skipped;

    const std::size_t lineEnd = bytes.substr(0, headLimit).find("\r\n");
    if (lineEnd == std::string_view::npos) {
        parser_->request.method = bytes.substr(0, std::min<std::size_t>(bytes.find(' '), 32));
        refuse(414, "the request line has more than " + std::to_string(headLimit) + " bytes");
    } else {
        ErrorCode ignored;  // only the request line is needed
        parser_->put(boost::asio::buffer(bytes.data(), lineEnd + 2), ignored);
        refuse(431, "the head has more than " + std::to_string(headLimit) + " bytes");
    }
    return skipped;
}

void HttpRequestReader::parseHead(std::string_view head) {
    parser_->request.receivedAt = now();
    ErrorCode error;
    parser_->put(boost::asio::buffer(head.data(), head.size()), error);
    if (parser_->hasTooManyFields) {
        refuse(431, "the head has more than " + std::to_string(fieldLimit) + " fields");
    } else if (error == http::error::bad_version) {
        refuse(505, "the version of HTTP is neither 1.0 nor 1.1");
    } else if (error == http::error::body_limit) {
        refuse(413, bodyTooLarge());
    } else if (error) {
        refuse(400, "the request is malformed: " + error.message());
    } else {
        state_ = parser_->is_done() ? State::complete : State::body;
        checkHead();
    }
}

void HttpRequestReader::checkHead() {
    const HttpRequest& request = parser_->request;
    std::size_t hosts = 0;
    for (const auto& [name, value] : request.headers) {
        if (equalsIgnoringCase(name, "Host")) ++hosts;
        if (!equalsIgnoringCase(name, "Transfer-Encoding")) continue;
        if (!equalsIgnoringCase(value, "chunked")) {
            return refuse(501, "the transfer encoding is not supported");
        }
    }
    if (hosts > 1) return refuse(400, "there is more than one Host header");
    if (hosts == 0 && parser_->isHttp11) return refuse(400, "the Host header is missing");
    if (names_ == Names::any) return;
    const std::string host = request.header("Host");
    if ((hosts > 0 && !isLoopbackAuthority(host)) ||
        (!parser_->authority.empty() && !isLoopbackAuthority(parser_->authority))) {
        refuse(421, "this server answers as localhost only");
    }
}

std::size_t HttpRequestReader::takeBody(std::string_view bytes) {
    // The last chunk has five bytes at least. Given fewer, Beast asserts.
    const std::size_t fewest = parser_->chunked() ? 5 : 1;
    std::size_t taken = 0;
    while (state_ == State::body && bytes.size() - taken >= fewest) {
        // Limits what stands between chunks in the same way however the bytes arrive.
        const std::string_view part = bytes.substr(taken, headLimit);
        ErrorCode error;
        taken += parser_->put(boost::asio::buffer(part.data(), part.size()), error);
        if (parser_->is_done()) {
            state_ = State::complete;
        } else if (error == http::error::body_limit) {
            refuse(413, bodyTooLarge());
        } else if (error == http::error::need_more && part.size() < headLimit) {
            break;
        } else if (error) {
            refuse(400, "the chunks of the body are malformed");
        }
    }
    return taken;
}

void HttpRequestReader::refuse(int status, std::string reason) {
    state_ = State::refused;
    parser_->request.receivedAt = now();
    refusal_ = {status, std::move(reason)};
}

HttpRequestReader::State HttpRequestReader::state() const noexcept {
    return state_;
}

const HttpRequestReader::Refusal& HttpRequestReader::refusal() const noexcept {
    return refusal_;
}

HttpRequest& HttpRequestReader::request() noexcept {
    return parser_->request;
}

bool HttpRequestReader::keepsConnection() const {
    return parser_->keep_alive();
}

bool HttpRequestReader::awaitsContinue() const {
    return state_ == State::body && parser_->isHttp11 &&
           equalsIgnoringCase(parser_->request.header("Expect"), "100-continue");
}

}  // namespace zentara::collector
