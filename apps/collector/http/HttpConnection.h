#pragma once

#include <array>
#include <atomic>
#include <boost/asio/any_io_executor.hpp>
#include <boost/asio/io_context.hpp>
#include <boost/asio/steady_timer.hpp>
#include <chrono>
#include <deque>
#include <limits>
#include <memory>
#include <optional>
#include <string>
#include <tuple>

#include "collector/http/ByteStream.h"
#include "collector/http/Exchange.h"
#include "collector/http/HttpConnections.h"
#include "collector/http/HttpRequestReader.h"
#include "collector/http/HttpSettings.h"

namespace zentara::collector {

/// One client: reads its requests one after the other, passes each to the handler and sends the
/// answer.
///
/// The operations may be called on any thread; they run on the executor of the stream's socket, one
/// at a time. The connection lives while it is open or an exchange uses it.
class HttpConnection : public std::enable_shared_from_this<HttpConnection> {
  public:
    /// What all connections of a listening address share. Lives as long as they do.
    struct Common {
        HttpHandler& handler;  ///< called until the server stops
        HttpTimeouts timeouts;
        std::shared_ptr<HttpConnections> connections;
        std::shared_ptr<BodyBudget> bodies;
        std::weak_ptr<asio::io_context> context;
        HttpRequestReader::Names names = HttpRequestReader::Names::any;
        bool isSecure = false;
    };

    /// `client` is the address of the other side.
    HttpConnection(std::unique_ptr<ByteStream> stream, std::shared_ptr<const Common> common,
                   std::string client);
    ~HttpConnection();
    HttpConnection(const HttpConnection&) = delete;
    HttpConnection& operator=(const HttpConnection&) = delete;

    void start();

    // Called by the exchange of the request that is with the handler.
    void deliver(Delivery delivery);
    void drop();
    void openStream();
    /// False once the connection is closed or its client has ended its sending.
    [[nodiscard]] bool hasClient() const noexcept { return !isClosed_ && !hasInputEnded_; }

    void writeToStream(std::string text);
    [[nodiscard]] bool isStreamOpen() const noexcept { return isStreamOpen_; }
    void endStream();

    /// Ends after the answer to the current request, if there is one.
    void stop();
    /// Ends at once. Does not use the executor, which must have stopped.
    void abandon();

  private:
    enum class Phase {
        handshake,
        idle,      // no byte of the next request yet
        request,   // some of it
        handler,   // with the handler
        delay,     // the answer waits for its time
        held,      // no answer will be sent
        answer,    // being sent
        stream,    // an event stream
        farewell,  // everything is sent; waits for the client to close
        closed,
    };
    using Step = void (HttpConnection::*)();
    using Chunk = std::array<char, 16UL * 1024>;

    static constexpr std::size_t unlimited = std::numeric_limits<std::size_t>::max();

    // Input
    void read(std::size_t atMost = std::tuple_size_v<Chunk>);
    void hasRead(ErrorCode error, std::size_t count);
    void discard(ErrorCode error, std::size_t count, bool isEncrypted);
    void awaitRequest();
    void beginRequest();
    void proceed();
    void hasHead();
    [[nodiscard]] std::size_t slice() const;
    void takeSlice();
    void handOver();
    void forgetRequest();

    // Output
    void refuse(int status, const std::string& reason);
    void refuse(HttpResponse response);
    [[nodiscard]] HttpResponse refusal(const HttpRequest& request, int status,
                                       const std::string& reason) noexcept;
    void act();
    void sendAnswer(HttpResponse response, Transmission transmission);
    void send(std::string text);
    void writeNext();
    void hasWritten(ErrorCode error, std::size_t count);

    // Ends
    void hasAnswered();
    void sayFarewell();
    void reset();
    void close();
    void requestIsLate();

    void after(asio::steady_timer& timer, std::chrono::nanoseconds wait, Step step);
    template <typename Action>
    void post(Action action);

    const std::unique_ptr<ByteStream> stream_;
    const std::shared_ptr<const Common> common_;
    const std::string client_;
    const asio::any_io_executor executor_;

    // Used on the executor only, except for the atomic members.
    Phase phase_ = Phase::handshake;
    bool isStopping_ = false;
    asio::steady_timer deadline_;  // for the client
    asio::steady_timer pause_;     // of the server

    std::unique_ptr<Chunk> chunk_ = std::make_unique<Chunk>();
    bool isReading_ = false;
    std::atomic<bool> hasInputEnded_ = false;
    std::string input_;  // read, not yet taken
    std::optional<HttpRequestReader> reader_;
    std::unique_ptr<BodyBudget::Share> share_;  // of the reader's body
    std::size_t pace_ = 0;                      // bytes of the body a second; 0 = at once
    std::size_t allowance_ = unlimited;         // bytes of the input that may be taken now
    std::size_t discarded_ = 0;

    ConnectionUse use_ = ConnectionUse::again;
    bool isHead_ = false;  // the request was, so that the answer has no body
    Delivery delivery_;    // during the delay
    std::deque<std::string> output_;
    std::size_t written_ = 0;  // bytes of the front
    bool isWriting_ = false;

    std::atomic<bool> isClosed_ = false;  // set before the stream is told
    std::atomic<bool> isStreamOpen_ = false;
    std::atomic<std::size_t> unread_ = 0;  // bytes of the stream not yet written
};

}  // namespace zentara::collector
