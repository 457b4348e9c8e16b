#include "network/CurlSession.h"

#include <openssl/crypto.h>
#include <unistd.h>

#include <chrono>
#include <limits>
#include <thread>
#include <utility>

namespace zentara {

CurlSession::CurlSession(std::function<std::string()> authorityFile, ExitHook atExit)
    : authorityFile_(std::move(authorityFile)), atExit_(atExit) {}

void CurlSession::start(URLRequest request, Completion completion) {
    const std::string scheme = request.url.scheme();
    const auto closings = request.closings;
    const bool isWeb = scheme == "http" || scheme == "https";
    auto transfer =
        std::make_unique<Transfer>(std::move(request), std::move(completion), authorityFile_());
    std::optional<std::string> refusal;
    {
        const MutexLock lock(mutex_);
        if (!isOpen_ || (closings && *closings != closings_)) {
            refusal = closingCause_;
        } else if (isWeb && hasThread()) {
            waiting_.push_back(std::move(transfer));
        }
    }
    if (refusal) {
        complete(*transfer, transfer->refused(*refusal));
    } else if (transfer) {
        complete(*transfer, isWeb ? CURLE_FAILED_INIT : CURLE_UNSUPPORTED_PROTOCOL);
    } else {
        ::curl_multi_wakeup(multi_);
    }
}

void CurlSession::close(std::string cause) {
    Transfers waiting;
    {
        const MutexLock lock(mutex_);
        isOpen_ = false;
        closingCause_ = cause;
        waiting = std::exchange(waiting_, {});
        ++closings_;
        if (threadStarted_) ::curl_multi_wakeup(multi_);
    }
    for (const auto& transfer : waiting)
        complete(*transfer, transfer->refused(cause));
    const MutexLock lock(mutex_);
    const auto closing = closings_;
    // The thread waits for nothing but sockets; the limit is for a system that has stalled.
    const auto limit = std::chrono::steady_clock::now() + std::chrono::seconds(2);
    while (threadStarted_ && !isEnding_ && closingsDone_ < closing &&
           closed_.wait_until(mutex_, limit) == std::cv_status::no_timeout) {
    }
}

void CurlSession::open() {
    const MutexLock lock(mutex_);
    isOpen_ = true;
}

bool CurlSession::isOpen() const {
    const MutexLock lock(mutex_);
    return isOpen_;
}

std::uint64_t CurlSession::closings() const {
    const MutexLock lock(mutex_);
    return closings_;
}

bool CurlSession::hasThread() {
    threadStarted_ = threadStarted_ || (hasMulti() && startDetachedThread([this] { run(); }));
    return threadStarted_;
}

bool CurlSession::hasMulti() {
    if (multi_ != nullptr) return true;
    // Otherwise OpenSSL frees its tables when the process begins to end, while the thread still
    // uses them. Must come before anything else initialises it.
    ::OPENSSL_init_crypto(OPENSSL_INIT_NO_ATEXIT, nullptr);
    if (::curl_global_init(CURL_GLOBAL_DEFAULT) != CURLE_OK) return false;
    multi_ = ::curl_multi_init();
    if (multi_ == nullptr) return false;
    // Makes the workers register their exit work first, so that they stop after this session.
    static_cast<void>(WorkerPool::shared());
    // A host that uses OpenSSL itself may have registered its clean-up. This work is registered
    // later and so runs earlier: by then the thread has left OpenSSL.
    atExit_([this] { park(); });
    return true;
}

void CurlSession::run() {
    for (;;) {
        // First: what is taken after it and then closed is ended by the next turn, and until then
        // `close` waits.
        endClosed();
        auto waiting = takeWaiting();
        if (!waiting) break;
        for (auto& transfer : *waiting)
            begin(std::move(transfer));
        int running = 0;
        CURLMcode code = ::curl_multi_perform(multi_, &running);
        finishEnded();
        // Returns for a socket, a wake-up or a time-out of curl's own, and for nothing else.
        constexpr int longest = std::numeric_limits<int>::max();
        if (code == CURLM_OK) code = ::curl_multi_poll(multi_, nullptr, 0, longest, nullptr);
        // Most likely there is no memory; the exchanges end by their time-outs at the latest.
        if (code != CURLM_OK) std::this_thread::sleep_for(std::chrono::milliseconds(100));
    }
    // The thread does not end: that too would call OpenSSL.
    for (;;)
        ::pause();
}

void CurlSession::endClosed() {
    std::string cause;
    std::uint64_t closings = 0;
    {
        const MutexLock lock(mutex_);
        if (closingsDone_ == closings_) return;
        closings = closings_;
        cause = closingCause_;
    }
    for (const auto& [handle, transfer] : active_) {
        ::curl_multi_remove_handle(multi_, handle);
        complete(*transfer, transfer->refused(cause));
    }
    active_.clear();
    const MutexLock lock(mutex_);
    closingsDone_ = closings;
    closed_.notify_all();
}

std::optional<CurlSession::Transfers> CurlSession::takeWaiting() {
    const MutexLock lock(mutex_);
    if (isEnding_) {
        isParked_ = true;
        parked_.notify_all();
        closed_.notify_all();
        return std::nullopt;
    }
    return std::exchange(waiting_, {});
}

void CurlSession::begin(std::unique_ptr<Transfer> transfer) {
    CURLcode code = transfer->prepare();
    if (code == CURLE_OK && ::curl_multi_add_handle(multi_, transfer->handle()) != CURLM_OK) {
        code = CURLE_OUT_OF_MEMORY;
    }
    if (code != CURLE_OK) return complete(*transfer, code);
    CURL* const handle = transfer->handle();
    active_.emplace(handle, std::move(transfer));
}

void CurlSession::finishEnded() {
    int left = 0;
    while (const CURLMsg* const message = ::curl_multi_info_read(multi_, &left)) {
        if (message->msg != CURLMSG_DONE) continue;
        CURL* const handle = message->easy_handle;
        const CURLcode code = message->data.result;
        ::curl_multi_remove_handle(multi_, handle);
        const auto transfer = std::move(active_.extract(handle).mapped());
        complete(*transfer, code);
    }
}

void CurlSession::complete(Transfer& transfer, Result<URLResponse> outcome) {
    completions_.async(
        [completion = transfer.takeCompletion(), outcome = std::move(outcome)]() mutable {
            completion(std::move(outcome));
        });
}

void CurlSession::park() noexcept {
    const MutexLock lock(mutex_);
    isEnding_ = true;
    if (!threadStarted_) return;
    ::curl_multi_wakeup(multi_);
    const auto limit = std::chrono::steady_clock::now() + std::chrono::seconds(2);
    while (!isParked_ && parked_.wait_until(mutex_, limit) == std::cv_status::no_timeout) {
    }
}

}  // namespace zentara
