#include "network/Transfer.h"

#include <fcntl.h>

#include <algorithm>
#include <limits>
#include <new>
#include <system_error>
#include <utility>

#include "network/InternetAddress.h"
#include "network/URLRequestBuilder.h"
#include "support/ASCII.h"
#include "support/PlatformError.h"

namespace zentara {

namespace {

/// The limit of all header lines of an exchange together.
constexpr std::size_t maximumHeaderSize = std::size_t{256} * 1024;

/// For example "HTTP/1.1 200 OK" or "HTTP/2 200". curl takes any line that begins with "HTTP/" and
/// reads a status of 200 out of those that it does not understand.
bool isStatusLine(std::string_view line) {
    for (const std::string_view version : {"HTTP/1.0 ", "HTTP/1.1 ", "HTTP/2 ", "HTTP/3 "}) {
        if (!line.starts_with(version) || line.size() < version.size() + 4) continue;
        const std::string_view code = line.substr(version.size(), 3);
        const char next = line[version.size() + 3];
        return code.find_first_not_of("0123456789") == std::string_view::npos &&
               code.front() != '0' && (next == ' ' || next == '\r' || next == '\n');
    }
    return false;
}

/// curl's text without times and sizes, so that the same failure has the same text each time:
/// "Failed to connect to host port 80 after 3 ms: Couldn't connect to server".
std::string withoutMeasures(std::string text) {
    const auto start = text.find(" after ");
    if (start == std::string::npos) return text;
    const auto end = text.find_first_not_of("0123456789", start + 7);
    if (end == start + 7 || end == std::string::npos || text.compare(end, 2, " m") != 0)
        return text;
    const auto rest = text.find(':', end);
    return text.erase(start, std::min(rest, text.size()) - start);
}

/// A number that curl knows of the exchange; 0 when there is none.
int info(CURL* handle, CURLINFO which) {
    long value = 0;
    if (handle != nullptr) ::curl_easy_getinfo(handle, which, &value);
    return static_cast<int>(value);
}

}  // namespace

Transfer::Transfer(URLRequest request, URLSession::Completion completion, std::string authorityFile)
    : request_(std::move(request)),
      completion_(std::move(completion)),
      authorityFile_(std::move(authorityFile)) {}

CURLcode Transfer::prepare() {
    if (!isHeaderName(request_.method)) return CURLE_BAD_FUNCTION_ARGUMENT;
    handle_.reset(::curl_easy_init());
    if (!handle_ || !buildHeaderList()) return CURLE_OUT_OF_MEMORY;

    auto code = CURLE_OK;
    const auto set = [&](CURLoption option, auto value) {
        if (code == CURLE_OK) code = ::curl_easy_setopt(handle_.get(), option, value);
    };
    set(CURLOPT_PRIVATE, this);
    set(CURLOPT_ERRORBUFFER, message_);
    set(CURLOPT_NOSIGNAL, 1L);
    // A look-up that hangs must not delay the other exchanges when its own exchange ends.
    set(CURLOPT_QUICK_EXIT, 1L);
    set(CURLOPT_PROTOCOLS_STR, "http,https");
    set(CURLOPT_REDIR_PROTOCOLS_STR, "http,https");
    set(CURLOPT_FOLLOWLOCATION, 0L);
    set(CURLOPT_SSL_VERIFYPEER, 1L);
    set(CURLOPT_SSL_VERIFYHOST, 2L);
    set(CURLOPT_SSLVERSION, static_cast<long>(CURL_SSLVERSION_TLSv1_2));
    if (!authorityFile_.empty()) {
        set(CURLOPT_CAINFO, authorityFile_.c_str());
        // Otherwise the system's folder of authorities would be trusted as well.
        set(CURLOPT_CAPATH, static_cast<const char*>(nullptr));
    }
    if (isLoopbackHost(request_.url.host())) set(CURLOPT_PROXY, "");
    set(CURLOPT_SUPPRESS_CONNECT_HEADERS, 1L);
    const auto longest = std::numeric_limits<int>::max();
    set(CURLOPT_TIMEOUT_MS, static_cast<long>(std::clamp<decltype(request_.timeout)::rep>(
                                request_.timeout.count(), 1, longest)));

    set(CURLOPT_URL, request_.url.string().c_str());
    set(CURLOPT_HTTPHEADER, headerList_.get());
    if (!hasHeader("Accept-Encoding")) set(CURLOPT_ACCEPT_ENCODING, "");
    if (request_.body || request_.method == "POST") {
        const std::string_view body = request_.body ? *request_.body : std::string_view();
        set(CURLOPT_POSTFIELDSIZE_LARGE, static_cast<curl_off_t>(body.size()));
        // When a reused connection is closed without an answer, curl repeats the request, and
        // events would arrive twice. It must go back to the start of the body for that, which the
        // last of these functions refuses.
        if (request_.reusesConnection) {
            set(CURLOPT_POST, 1L);
            set(CURLOPT_READFUNCTION, &Transfer::readBody);
            set(CURLOPT_READDATA, this);
            set(
                CURLOPT_SEEKFUNCTION,
                +[](void*, curl_off_t, int) { return int{CURL_SEEKFUNC_FAIL}; });
        } else {
            set(CURLOPT_POSTFIELDS, body.empty() ? "" : body.data());
            set(CURLOPT_FRESH_CONNECT, 1L);
            // No later request would reuse it, and after a burst dozens would stay open.
            set(CURLOPT_FORBID_REUSE, 1L);
        }
    } else if (request_.method == "HEAD") {
        set(CURLOPT_NOBODY, 1L);
    }
    set(CURLOPT_CUSTOMREQUEST, request_.method.c_str());

    set(CURLOPT_HEADERFUNCTION, &Transfer::onBytes<&Transfer::acceptsHeaderLine>);
    set(CURLOPT_HEADERDATA, this);
    set(CURLOPT_WRITEFUNCTION, &Transfer::onBytes<&Transfer::acceptsBody>);
    set(CURLOPT_WRITEDATA, this);
    if (!request_.discardsBody) {
        set(CURLOPT_MAXFILESIZE_LARGE, static_cast<curl_off_t>(URLSession::maximumBodySize));
    }
    // Programs that the host starts must not inherit the connections.
    set(
        CURLOPT_SOCKOPTFUNCTION, +[](void*, curl_socket_t socket, curlsocktype) {
            ::fcntl(socket, F_SETFD, FD_CLOEXEC);
            return int{CURL_SOCKOPT_OK};
        });
    return code;
}

std::size_t Transfer::readBody(char* buffer, std::size_t size, std::size_t count, void* transfer) {
    auto& self = *static_cast<Transfer*>(transfer);
    const auto copied = self.request_.body->copy(buffer, size * count, self.sent_);
    self.sent_ += copied;
    return copied;
}

bool Transfer::hasHeader(const char* name) const {
    return std::any_of(request_.headers.begin(), request_.headers.end(),
                       [&](const auto& header) { return equalsIgnoringCase(header.first, name); });
}

bool Transfer::addHeaderLine(const std::string& line) {
    curl_slist* const longer = ::curl_slist_append(headerList_.get(), line.c_str());
    if (longer == nullptr) return false;
    [[maybe_unused]] auto* const same = headerList_.release();
    headerList_.reset(longer);
    return true;
}

bool Transfer::buildHeaderList() {
    for (const auto& [name, value] : request_.headers) {
        if (!isHeaderName(name) || !isHeaderValue(value)) continue;
        // In curl's syntax "Name:" removes a header; "Name;" is an empty header.
        const bool isBlank = value.find_first_not_of(" \t") == std::string::npos;
        if (!addHeaderLine(isBlank ? name + ';' : name + ": " + value)) return false;
    }
    // Removes the headers that curl would add.
    for (const char* const name : {"Accept", "Expect", "Content-Type"}) {
        if (!hasHeader(name) && !addHeaderLine(std::string(name) + ":")) return false;
    }
    return true;
}

bool Transfer::acceptsHeaderLine(std::string_view text) {
    headerBytes_ += text.size();
    if (headerBytes_ > maximumHeaderSize) {
        refusal_ = Refusal::largeHeaders;
        return false;
    }
    if (text.starts_with("HTTP/")) {
        // A provisional response may have come before.
        headersEnded_ = false;
        bodyAnnounced_ = false;
        if (!isStatusLine(text)) {
            refusal_ = Refusal::badStatusLine;
            return false;
        }
    } else if (text == "\r\n" || text == "\n") {
        headersEnded_ = true;
        // After 100, 102 and 103 the final response follows. For other codes of that class no
        // further response is defined.
        const int status = info(handle_.get(), CURLINFO_RESPONSE_CODE);
        endedWithStatus_ = status == 101 || (status > 103 && status < 200);
        return !endedWithStatus_;
    } else {
        const std::string_view name = text.substr(0, text.find(':'));
        bodyAnnounced_ = bodyAnnounced_ || equalsIgnoringCase(name, "Content-Length") ||
                         equalsIgnoringCase(name, "Transfer-Encoding");
    }
    return true;
}

bool Transfer::acceptsBody(std::string_view bytes) {
    if (request_.discardsBody) {
        discarded_ += bytes.size();
        endedWithStatus_ = discarded_ > URLSession::maximumBodySize;
        return !endedWithStatus_;
    }
    try {
        if (bytes.size() <= URLSession::maximumBodySize - body_.size()) {
            body_.append(bytes);
            return true;
        }
    } catch (const std::bad_alloc&) {
        // As if it were too large.
    }
    refusal_ = Refusal::largeBody;
    return false;
}

std::optional<std::chrono::seconds> Transfer::retryAfter() const {
    curl_off_t wait = 0;
    ::curl_easy_getinfo(handle_.get(), CURLINFO_RETRY_AFTER, &wait);
    if (wait <= 0) return std::nullopt;
    return std::chrono::seconds(wait);
}

Result<URLResponse> Transfer::refused(const std::string& cause) const {
    return std::make_shared<PlatformError>(
        PlatformError::Domain::network, CURLE_ABORTED_BY_CALLBACK,
        "request to '" + request_.url.host() + "' failed: " + cause);
}

Result<URLResponse> Transfer::outcome(CURLcode code) {
    const int statusCode = info(handle_.get(), CURLINFO_RESPONSE_CODE);
    if (endedWithStatus_) return URLResponse{statusCode, std::nullopt, retryAfter()};
    // curl accepts headers that break off.
    if (code == CURLE_OK && !headersEnded_) code = CURLE_PARTIAL_FILE;
    if (code == CURLE_OK) {
        URLResponse response{statusCode, std::nullopt, retryAfter()};
        if (!body_.empty() || (bodyAnnounced_ && request_.method != "HEAD")) {
            response.body = std::move(body_);
        }
        return response;
    }
    // Bytes came, but not a status line of HTTP.
    const bool isGarbage = code == CURLE_UNSUPPORTED_PROTOCOL || code == CURLE_WEIRD_SERVER_REPLY;
    if (refusal_ == Refusal::badStatusLine || (handle_ && isGarbage && statusCode < 100)) {
        return URLResponse{};
    }

    std::string message = "request to '" + request_.url.host() + "' failed: ";
    if (refusal_ == Refusal::largeBody || code == CURLE_FILESIZE_EXCEEDED) {
        code = CURLE_FILESIZE_EXCEEDED;
        message +=
            "the body is larger than " + std::to_string(URLSession::maximumBodySize) + " bytes";
    } else if (refusal_ == Refusal::largeHeaders) {
        message += "the headers are larger than " + std::to_string(maximumHeaderSize) + " bytes";
    } else if (code == CURLE_SEND_FAIL_REWIND) {
        message += "the server closed the connection without an answer";
    } else {
        message += withoutMeasures(*message_ != '\0' ? message_ : ::curl_easy_strerror(code));
        const int systemError = info(handle_.get(), CURLINFO_OS_ERRNO);
        if (code == CURLE_COULDNT_CONNECT && systemError != 0) {
            message += " (" + std::generic_category().message(systemError) + ")";
        }
    }
    return std::make_shared<PlatformError>(PlatformError::Domain::network, code,
                                           std::move(message));
}

}  // namespace zentara
