#pragma once

#include <curl/curl.h>

#include <condition_variable>
#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <unordered_map>
#include <vector>

#include "network/Transfer.h"
#include "network/URLSession.h"
#include "support/Mutex.h"
#include "support/Process.h"
#include "support/threads/WorkerPool.h"

namespace zentara {

/// HTTP by curl.
///
/// A single thread of its own, started on first use and never ended, moves the bytes; completions
/// run one after the other on the worker pool, never on that thread. http and https only, TLS
/// verified, redirects reported and not followed, bodies bounded by `maximumBodySize`. Never
/// destroyed.
class CurlSession final : public URLSession {
  public:
    /// `authorityFile` names the PEM file of the authorities to trust, for each request anew; empty
    /// for the system's. When the process ends, by `atExit`, the thread stops.
    CurlSession(std::function<std::string()> authorityFile, ExitHook atExit);

    void start(URLRequest request, Completion completion) override;
    void close(std::string cause) override;
    void open() override;
    [[nodiscard]] bool isOpen() const override;
    [[nodiscard]] std::uint64_t closings() const override;

  private:
    using Transfers = std::vector<std::unique_ptr<Transfer>>;

    /// Starts the thread unless it runs. Not earlier than for the first request: a host may still
    /// fork into the background after it has configured the library.
    [[nodiscard]] bool hasThread() ZENTARA_REQUIRES(mutex_);
    [[nodiscard]] bool hasMulti() ZENTARA_REQUIRES(mutex_);
    [[noreturn]] void run();
    /// Ends the exchanges that had begun when the session was closed.
    void endClosed();
    /// The exchanges to begin; nothing when the process is ending.
    [[nodiscard]] std::optional<Transfers> takeWaiting();
    void begin(std::unique_ptr<Transfer> transfer);
    void finishEnded();
    void complete(Transfer& transfer, CURLcode code) { complete(transfer, transfer.outcome(code)); }
    void complete(Transfer& transfer, Result<URLResponse> outcome);
    void park() noexcept;

    const std::function<std::string()> authorityFile_;
    const ExitHook atExit_;
    Strand completions_;

    // Constant once the thread runs; curl_multi_wakeup may be called on it by any thread.
    CURLM* multi_ = nullptr;

    mutable Mutex mutex_;
    Transfers waiting_ ZENTARA_GUARDED_BY(mutex_);
    bool threadStarted_ ZENTARA_GUARDED_BY(mutex_) = false;
    bool isEnding_ ZENTARA_GUARDED_BY(mutex_) = false;
    bool isParked_ ZENTARA_GUARDED_BY(mutex_) = false;
    std::condition_variable_any parked_;
    bool isOpen_ ZENTARA_GUARDED_BY(mutex_) = true;
    std::string closingCause_ ZENTARA_GUARDED_BY(mutex_);
    /// How often the session was closed, and the last closing that the thread has carried out.
    std::uint64_t closings_ ZENTARA_GUARDED_BY(mutex_) = 0;
    std::uint64_t closingsDone_ ZENTARA_GUARDED_BY(mutex_) = 0;
    std::condition_variable_any closed_;

    // Used by the thread only.
    std::unordered_map<CURL*, std::unique_ptr<Transfer>> active_;
};

}  // namespace zentara
