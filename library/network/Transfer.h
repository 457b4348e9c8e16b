#pragma once

#include <curl/curl.h>

#include <chrono>
#include <cstddef>
#include <memory>
#include <optional>
#include <string>
#include <string_view>

#include "network/URLSession.h"

namespace zentara {

/// An HTTP exchange as curl carries it out. Used by one thread at a time.
class Transfer {
  public:
    /// `authorityFile` names the PEM file of trusted authorities; empty for the system's.
    Transfer(URLRequest request, URLSession::Completion completion, std::string authorityFile);

    Transfer(const Transfer&) = delete;
    Transfer& operator=(const Transfer&) = delete;

    /// Makes the handle that curl works on. Anything but CURLE_OK ends the exchange.
    [[nodiscard]] CURLcode prepare();

    [[nodiscard]] CURL* handle() const noexcept { return handle_.get(); }

    /// The result of the exchange that curl ended with `code`. Called once.
    [[nodiscard]] Result<URLResponse> outcome(CURLcode code);

    /// The result of an exchange that was not carried out, or not to its end, for `cause`.
    [[nodiscard]] Result<URLResponse> refused(const std::string& cause) const;

    [[nodiscard]] URLSession::Completion takeCompletion() { return std::move(completion_); }

  private:
    struct Cleanup {
        void operator()(CURL* handle) const noexcept { ::curl_easy_cleanup(handle); }
        void operator()(curl_slist* list) const noexcept { ::curl_slist_free_all(list); }
    };

    enum class Refusal { none, badStatusLine, largeBody, largeHeaders };

    [[nodiscard]] bool buildHeaderList();
    [[nodiscard]] bool addHeaderLine(const std::string& line);
    [[nodiscard]] bool hasHeader(const char* name) const;
    [[nodiscard]] bool acceptsHeaderLine(std::string_view line);
    [[nodiscard]] bool acceptsBody(std::string_view bytes);
    [[nodiscard]] std::optional<std::chrono::seconds> retryAfter() const;
    /// Gives curl the next piece of the request's body.
    static std::size_t readBody(char* buffer, std::size_t size, std::size_t count, void* transfer);
    /// What curl calls with each line of the headers, or each piece of the body.
    template <bool (Transfer::*accepts)(std::string_view)>
    static std::size_t onBytes(char* bytes, std::size_t size, std::size_t count, void* transfer) {
        const std::string_view text(bytes, size * count);
        return (static_cast<Transfer*>(transfer)->*accepts)(text) ? text.size() : 0;
    }

    URLRequest request_;
    URLSession::Completion completion_;
    const std::string authorityFile_;

    std::size_t sent_ = 0;  ///< of the request's body
    std::string body_;
    std::size_t headerBytes_ = 0;
    bool headersEnded_ = false;
    bool bodyAnnounced_ = false;
    std::size_t discarded_ = 0;
    bool endedWithStatus_ = false;  ///< ended early on purpose: only the status counts
    Refusal refusal_ = Refusal::none;
    char message_[CURL_ERROR_SIZE] = "";

    std::unique_ptr<curl_slist, Cleanup> headerList_;
    // The last member: curl refers to the others until it is gone.
    std::unique_ptr<CURL, Cleanup> handle_;
};

}  // namespace zentara
