#include "network/URLSession.h"

#include <curl/curl.h>
#include <openssl/crypto.h>
#include <unistd.h>

#include <chrono>
#include <condition_variable>
#include <limits>
#include <memory>
#include <optional>
#include <string>
#include <thread>
#include <unordered_map>
#include <utility>
#include <vector>

#include "network/Transfer.h"
#include "support/Mutex.h"
#include "support/NoDestructor.h"
#include "support/Process.h"
#include "support/threads/DetachedThread.h"
#include "support/threads/Strand.h"
#include "support/threads/WorkerPool.h"

namespace zentara {

namespace {

/// Which authorities to trust. Apart from the engine, so that configuring starts no thread: a host
/// may still fork into the background after it.
class AuthorityFile {
  public:
    [[nodiscard]] static AuthorityFile& shared() {
        static NoDestructor<AuthorityFile> file;
        return *file;
    }

    void set(std::string path) {
        const MutexLock lock(mutex_);
        path_ = std::move(path);
    }
    [[nodiscard]] std::string path() {
        const MutexLock lock(mutex_);
        return path_;
    }

  private:
    Mutex mutex_;
    std::string path_ ZENTARA_GUARDED_BY(mutex_);
};

/// The thread that moves the bytes, and what it shares with the threads that ask for exchanges.
class Engine {
  public:
    [[nodiscard]] static Engine& shared() {
        static NoDestructor<Engine> engine;
        return *engine;
    }

    Engine(const Engine&) = delete;
    Engine& operator=(const Engine&) = delete;

    void start(URLRequest request, URLSession::Completion completion);

  private:
    friend class NoDestructor<Engine>;

    Engine();

    [[nodiscard]] bool isThreadRunning() ZENTARA_REQUIRES(mutex_);
    [[noreturn]] void run();
    /// The exchanges to begin, or nothing when the process is ending.
    [[nodiscard]] std::optional<std::vector<std::unique_ptr<Transfer>>> takeWaiting();
    void begin(std::unique_ptr<Transfer> transfer);
    void finishEnded();
    void complete(Transfer& transfer, CURLcode code);
    void park() noexcept;

    // Constant after construction; curl_multi_wakeup may be called on it by any thread.
    CURLM* const multi_;
    Strand completions_;

    Mutex mutex_;
    std::vector<std::unique_ptr<Transfer>> waiting_ ZENTARA_GUARDED_BY(mutex_);
    bool threadStarted_ ZENTARA_GUARDED_BY(mutex_) = false;
    bool isEnding_ ZENTARA_GUARDED_BY(mutex_) = false;
    bool isParked_ ZENTARA_GUARDED_BY(mutex_) = false;
    std::condition_variable_any parked_;

    // Used by the thread only.
    std::unordered_map<CURL*, std::unique_ptr<Transfer>> active_;
};

CURLM* makeMulti() {
    // OpenSSL would free its tables when the process begins to end, under the feet of the thread
    // that still uses them. Must come before anything else initialises it.
    ::OPENSSL_init_crypto(OPENSSL_INIT_NO_ATEXIT, nullptr);
    if (::curl_global_init(CURL_GLOBAL_DEFAULT) != CURLE_OK) return nullptr;
    return ::curl_multi_init();
}

Engine::Engine() : multi_(makeMulti()) {
    // At exit this stops before the workers do.
    static_cast<void>(WorkerPool::shared());
    // A host that uses OpenSSL itself may have had it initialised with its clean-up. Ours is
    // registered later and so runs earlier: the thread is out of OpenSSL by then.
    runAtExit([] { shared().park(); });
}

void Engine::start(URLRequest request, URLSession::Completion completion) {
    const std::string scheme = request.url.scheme();
    const auto authorityFile = AuthorityFile::shared().path();
    const bool isWeb = scheme == "http" || scheme == "https";
    std::unique_ptr<Transfer> refused;
    {
        const MutexLock lock(mutex_);
        auto transfer =
            std::make_unique<Transfer>(std::move(request), std::move(completion), authorityFile);
        auto& place = isWeb && isThreadRunning() ? waiting_.emplace_back() : refused;
        place = std::move(transfer);
    }
    if (refused) {
        complete(*refused, isWeb ? CURLE_FAILED_INIT : CURLE_UNSUPPORTED_PROTOCOL);
    } else {
        ::curl_multi_wakeup(multi_);
    }
}

bool Engine::isThreadRunning() {
    if (!threadStarted_ && multi_ != nullptr) {
        threadStarted_ = startDetachedThread([this] { run(); });
    }
    return threadStarted_;
}

void Engine::run() {
    while (auto waiting = takeWaiting()) {
        for (auto& transfer : *waiting)
            begin(std::move(transfer));
        int running = 0;
        CURLMcode code = ::curl_multi_perform(multi_, &running);
        finishEnded();
        // Returns for a socket, a wake-up or a time-out of curl's own, and for nothing else.
        constexpr int longest = std::numeric_limits<int>::max();
        if (code == CURLM_OK) code = ::curl_multi_poll(multi_, nullptr, 0, longest, nullptr);
        // Short of memory, most likely; the exchanges end by their time-outs at the latest.
        if (code != CURLM_OK) std::this_thread::sleep_for(std::chrono::milliseconds(100));
    }
    // The thread does not end: that too would call OpenSSL.
    for (;;)
        ::pause();
}

std::optional<std::vector<std::unique_ptr<Transfer>>> Engine::takeWaiting() {
    const MutexLock lock(mutex_);
    if (isEnding_) {
        isParked_ = true;
        parked_.notify_all();
        return std::nullopt;
    }
    return std::exchange(waiting_, {});
}

void Engine::begin(std::unique_ptr<Transfer> transfer) {
    CURLcode code = transfer->prepare();
    if (code == CURLE_OK && ::curl_multi_add_handle(multi_, transfer->handle()) != CURLM_OK) {
        code = CURLE_OUT_OF_MEMORY;
    }
    if (code != CURLE_OK) return complete(*transfer, code);
    CURL* const handle = transfer->handle();
    active_.emplace(handle, std::move(transfer));
}

void Engine::finishEnded() {
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

void Engine::complete(Transfer& transfer, CURLcode code) {
    completions_.async(
        [completion = transfer.takeCompletion(), outcome = transfer.outcome(code)]() mutable {
            completion(std::move(outcome.response), std::move(outcome.error));
        });
}

void Engine::park() noexcept {
    const MutexLock lock(mutex_);
    isEnding_ = true;
    if (!threadStarted_) return;
    ::curl_multi_wakeup(multi_);
    const auto limit = std::chrono::steady_clock::now() + std::chrono::seconds(2);
    while (!isParked_ && parked_.wait_until(mutex_, limit) == std::cv_status::no_timeout) {
    }
}

}  // namespace

URLSession& URLSession::shared() {
    static NoDestructor<URLSession> session;
    return *session;
}

void URLSession::start(URLRequest request, Completion completion) {
    Engine::shared().start(std::move(request), std::move(completion));
}

void URLSession::setCertificateAuthorityFile(std::string path) {
    AuthorityFile::shared().set(std::move(path));
}

}  // namespace zentara
