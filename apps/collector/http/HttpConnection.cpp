#include "collector/http/HttpConnection.h"

#include <algorithm>
#include <boost/asio/error.hpp>
#include <boost/asio/post.hpp>
#include <boost/asio/ssl/error.hpp>
#include <exception>
#include <utility>

#include "collector/http/HttpExchange.h"

namespace zentara::collector {

namespace {

// After a refusal the rest of the input is read and discarded, so that the client sees the answer
// and not a reset connection. A client that sends more than this is disconnected.
constexpr std::size_t mostDiscarded = 16 * HttpRequestReader::bodyLimit;

// Keeps the buffer from growing, so that a client whose body is read slowly notices soon. A smaller
// buffer would not hold a TLS record and cause retransmissions.
constexpr int slowReceiveBuffer = 64 * 1024;

constexpr std::string_view notHttp = "\x02\x7f no HTTP here \xff\xfe\r\n\r\n";

bool isEnd(ErrorCode error) {
    return error == asio::error::eof || error == asio::ssl::error::stream_truncated;
}

/// Unlike a cancellation, also suppresses a handler that is already queued.
void disarm(asio::steady_timer& timer) {
    timer.expires_at(asio::steady_timer::time_point::max());
}

/// The message of the exception that is being handled.
std::string thrownReason() {
    try {
        throw;
    } catch (const std::exception& error) {
        return error.what();
    } catch (...) {
        return "the server failed";
    }
}

}  // namespace

HttpConnection::HttpConnection(std::unique_ptr<ByteStream> stream,
                               std::shared_ptr<const Common> common, std::string client)
    : stream_(std::move(stream)),
      common_(std::move(common)),
      client_(std::move(client)),
      executor_(stream_->socket().get_executor()),
      deadline_(executor_),
      pause_(executor_) {}

HttpConnection::~HttpConnection() {
    common_->connections->remove(this);
}

template <typename Action>
void HttpConnection::post(Action action) {
    asio::post(executor_, [self = shared_from_this(), action = std::move(action)]() mutable {
        if (self->phase_ != Phase::closed) action(*self);
    });
}

/// Calls `step` unless the timer is set anew or disarmed before.
void HttpConnection::after(asio::steady_timer& timer, std::chrono::nanoseconds wait, Step step) {
    timer.expires_after(wait);
    timer.async_wait(
        [self = shared_from_this(), &timer, due = timer.expiry(), step](ErrorCode error) {
            if (error || self->phase_ == Phase::closed || timer.expiry() != due) return;
            (self.get()->*step)();
        });
}

void HttpConnection::start() {
    post([](HttpConnection& self) {
        self.after(self.deadline_, self.common_->timeouts.idle, &HttpConnection::close);
        self.stream_->handshake([kept = self.shared_from_this()](ErrorCode error) {
            if (kept->phase_ == Phase::closed) return;
            if (error) return kept->close();
            kept->awaitRequest();
        });
    });
}

// Input

/// Keeps one read pending. Between a request and the end of its answer, the read detects that the
/// client has gone. Bytes that arrive then belong to the next request.
void HttpConnection::read(std::size_t atMost) {
    if (isReading_ || hasInputEnded_) return;
    isReading_ = true;
    const auto buffer = asio::buffer(chunk_->data(), std::min(atMost, chunk_->size()));
    if (phase_ == Phase::farewell) {
        stream_->socket().async_read_some(
            buffer, [self = shared_from_this()](ErrorCode error, std::size_t count) {
                self->discard(error, count, false);
            });
    } else {
        stream_->readSome(buffer, [self = shared_from_this()](ErrorCode error, std::size_t count) {
            self->hasRead(error, count);
        });
    }
}

void HttpConnection::hasRead(ErrorCode error, std::size_t count) {
    if (phase_ == Phase::farewell) return discard(error, count, common_->isSecure);
    isReading_ = false;
    if (phase_ == Phase::closed) return;
    if (error && !isEnd(error)) return close();
    hasInputEnded_ = static_cast<bool>(error);

    switch (phase_) {
        case Phase::idle:
        case Phase::request:
            input_.append(chunk_->data(), count);
            if (phase_ == Phase::request) return proceed();
            if (hasInputEnded_) return close();
            return beginRequest();
        case Phase::held:
        case Phase::stream:
            if (hasInputEnded_) return close();
            return read();
        default:
            input_.append(chunk_->data(), count);
            if (input_.size() < HttpRequestReader::headLimit) read();
    }
}

void HttpConnection::discard(ErrorCode error, std::size_t count, bool isEncrypted) {
    isReading_ = false;
    if (phase_ == Phase::closed) return;
    // When TLS has ended, bytes may still arrive and have to be read.
    if (error && !isEncrypted) return close();
    discarded_ += count;
    if (discarded_ > mostDiscarded) return close();
    read();
}

void HttpConnection::awaitRequest() {
    phase_ = Phase::idle;
    reader_.emplace(common_->names);
    share_ = std::make_unique<BodyBudget::Share>(common_->bodies);
    reader_->request().secure = common_->isSecure;
    reader_->request().client = client_;
    pace_ = 0;
    allowance_ = unlimited;
    if (!input_.empty()) return beginRequest();
    after(deadline_, common_->timeouts.idle, &HttpConnection::close);
    if (hasInputEnded_) return close();
    read();
}

void HttpConnection::beginRequest() {
    phase_ = Phase::request;
    reader_->request().startedAt = std::chrono::steady_clock::now();
    after(deadline_, common_->timeouts.request, &HttpConnection::requestIsLate);
    proceed();
}

void HttpConnection::proceed() {
    using State = HttpRequestReader::State;
    const State before = reader_->state();
    const std::size_t taken =
        reader_->take(std::string_view(input_).substr(0, std::min(allowance_, input_.size())));
    input_.erase(0, taken);
    if (pace_ > 0) allowance_ -= taken;

    if (reader_->state() == State::refused) {
        return refuse(reader_->refusal().status, reader_->refusal().reason);
    }
    if (before == State::body && !share_->growTo(reader_->request().body.capacity())) {
        return refuse(503, "the requests in flight have too many bytes");
    }
    if (before == State::head && reader_->state() != State::head) return hasHead();
    if (reader_->state() == State::complete) return handOver();
    if (hasInputEnded_ && input_.size() <= allowance_) return close();
    if (pace_ == 0) return read();

    after(deadline_, common_->timeouts.request, &HttpConnection::requestIsLate);
    if (input_.size() < allowance_) return read(allowance_ - input_.size());
    after(pause_, std::chrono::nanoseconds(std::chrono::seconds(slice())) / pace_,
          &HttpConnection::takeSlice);
}

/// The bytes of a body that are read at a time when a pace is set.
std::size_t HttpConnection::slice() const {
    return std::clamp<std::size_t>(pace_ / 10, 1, chunk_->size());
}

void HttpConnection::takeSlice() {
    allowance_ += slice();
    proceed();
}

void HttpConnection::hasHead() {
    try {
        if (auto response = common_->handler.turnAway(reader_->request())) {
            return refuse(*std::move(response));
        }
        pace_ = common_->handler.readingPace(reader_->request()).value_or(0);
    } catch (...) {
        return refuse(500, thrownReason());
    }
    if (reader_->state() == HttpRequestReader::State::complete) return handOver();
    if (pace_ > 0) {
        allowance_ = 0;
        ErrorCode ignored;
        stream_->socket().set_option(asio::socket_base::receive_buffer_size(slowReceiveBuffer),
                                     ignored);
    }
    if (reader_->awaitsContinue() && input_.empty()) send("HTTP/1.1 100 Continue\r\n\r\n");
    proceed();
}

void HttpConnection::handOver() {
    phase_ = Phase::handler;
    disarm(deadline_);
    use_ = reader_->keepsConnection() ? ConnectionUse::again : ConnectionUse::once;
    isHead_ = reader_->request().method == "HEAD";
    const auto exchange =
        std::make_shared<HttpExchange>(common_->context.lock(), shared_from_this(),
                                       std::move(reader_->request()), std::move(share_));
    reader_.reset();
    if (input_.size() < HttpRequestReader::headLimit) read();
    try {
        common_->handler.handle(exchange);
    } catch (...) {
        exchange->deliver({.response = refusal(exchange->request(), 500, thrownReason())});
    }
}

void HttpConnection::forgetRequest() {
    reader_.reset();
    share_.reset();
}

// Output

void HttpConnection::refuse(int status, const std::string& reason) {
    refuse(refusal(reader_->request(), status, reason));
}

void HttpConnection::refuse(HttpResponse response) {
    use_ = ConnectionUse::once;
    isHead_ = reader_->request().method == "HEAD";
    forgetRequest();
    sendAnswer(std::move(response), Transmission::whole);
}

HttpResponse HttpConnection::refusal(const HttpRequest& request, int status,
                                     const std::string& reason) noexcept {
    try {
        return common_->handler.refuse(request, status, reason);
    } catch (...) {
        HttpResponse response;
        response.status = 500;
        response.body = R"({"error":"the server failed"})";
        return response;
    }
}

void HttpConnection::requestIsLate() {
    refuse(408, "the request did not come in time");
}

void HttpConnection::deliver(Delivery delivery) {
    post([delivery = std::move(delivery)](HttpConnection& self) mutable {
        if (self.phase_ != Phase::handler) return;
        self.phase_ = Phase::delay;
        self.delivery_ = std::move(delivery);
        if (self.delivery_.delay.count() <= 0 || self.isStopping_) return self.act();
        self.after(self.pause_, self.delivery_.delay, &HttpConnection::act);
    });
}

void HttpConnection::act() {
    switch (delivery_.transmission) {
        case Transmission::dropped:
            return reset();
        case Transmission::none:
            phase_ = Phase::held;
            if (isStopping_ || hasInputEnded_) return close();
            input_.clear();
            return read();
        default:
            sendAnswer(std::move(delivery_.response), delivery_.transmission);
    }
}

void HttpConnection::sendAnswer(HttpResponse response, Transmission transmission) {
    phase_ = Phase::answer;
    disarm(deadline_);
    disarm(pause_);
    if (transmission != Transmission::whole || isStopping_) use_ = ConnectionUse::once;
    if (transmission == Transmission::garbage) return send(std::string(notHttp));

    std::string head = responseHead(response, use_);
    if (isHead_ || !allowsBody(response.status)) response.body.clear();
    if (transmission == Transmission::truncated) response.body.resize(response.body.size() / 2);
    if (response.body.size() <= chunk_->size()) {
        send(head += response.body);
    } else {
        send(std::move(head));
        send(std::move(response.body));
    }
}

void HttpConnection::send(std::string text) {
    output_.push_back(std::move(text));
    if (!isWriting_) writeNext();
}

void HttpConnection::writeNext() {
    isWriting_ = true;
    if (phase_ == Phase::answer) {
        after(deadline_, common_->timeouts.request, &HttpConnection::close);
    }
    stream_->writeSome(asio::buffer(output_.front()) + written_,
                       [self = shared_from_this()](ErrorCode error, std::size_t count) {
                           self->hasWritten(error, count);
                       });
}

void HttpConnection::hasWritten(ErrorCode error, std::size_t count) {
    isWriting_ = false;
    if (phase_ == Phase::closed) return;
    if (error) return close();
    written_ += count;
    if (written_ == output_.front().size()) {
        if (phase_ == Phase::stream) unread_ -= written_;
        output_.pop_front();
        written_ = 0;
    }
    if (!output_.empty()) return writeNext();
    if (phase_ == Phase::answer) hasAnswered();
}

void HttpConnection::openStream() {
    isStreamOpen_ = true;
    if (isClosed_) isStreamOpen_ = false;
    post([](HttpConnection& self) {
        if (self.phase_ != Phase::handler) return;
        if (self.isHead_ || self.isStopping_) {
            self.isStreamOpen_ = false;
            self.phase_ = Phase::answer;
            self.use_ = ConnectionUse::once;
        } else {
            self.phase_ = Phase::stream;
            self.input_.clear();
            if (self.hasInputEnded_) return self.close();
            self.read();
        }
        std::string head = eventStreamHead();
        self.unread_ += head.size();
        self.send(std::move(head));
    });
}

void HttpConnection::writeToStream(std::string text) {
    if (text.empty() || !isStreamOpen_) return;
    const std::size_t size = text.size();
    if (unread_.fetch_add(size) + size > EventStream::mostUnread) {
        isStreamOpen_ = false;
        post([](HttpConnection& self) { self.reset(); });
        return;
    }
    post([text = std::move(text)](HttpConnection& self) mutable {
        if (self.phase_ == Phase::stream) self.send(std::move(text));
    });
}

void HttpConnection::endStream() {
    post([](HttpConnection& self) {
        if (self.phase_ != Phase::stream) return;
        self.isStreamOpen_ = false;
        self.phase_ = Phase::answer;
        self.use_ = ConnectionUse::once;
        if (self.output_.empty()) self.hasAnswered();
    });
}

// Ends

void HttpConnection::hasAnswered() {
    if (use_ == ConnectionUse::again && !isStopping_) return awaitRequest();
    sayFarewell();
}

/// Closing with input unread would reset the connection, and the client would lose the answer.
/// So the input is discarded until the client closes.
void HttpConnection::sayFarewell() {
    stream_->endOutput(shared_from_this());
    if (hasInputEnded_ || isStopping_) return close();
    phase_ = Phase::farewell;
    input_.clear();
    after(deadline_, common_->timeouts.linger, &HttpConnection::close);
    read();
}

void HttpConnection::drop() {
    post([](HttpConnection& self) {
        if (self.phase_ == Phase::handler) self.reset();
    });
}

void HttpConnection::reset() {
    ErrorCode ignored;
    stream_->socket().set_option(asio::socket_base::linger(true, 0), ignored);
    close();
}

void HttpConnection::close() {
    phase_ = Phase::closed;
    isClosed_ = true;
    isStreamOpen_ = false;
    forgetRequest();
    disarm(deadline_);
    disarm(pause_);
    ErrorCode ignored;
    stream_->socket().close(ignored);
    common_->connections->remove(this);
}

void HttpConnection::stop() {
    post([](HttpConnection& self) {
        self.isStopping_ = true;
        ErrorCode ignored;
        switch (self.phase_) {
            case Phase::handshake:
            case Phase::held:
                return self.close();
            case Phase::idle:
                // A request that has arrived but was not read yet is answered too.
                if (self.stream_->socket().available(ignored) == 0) self.sayFarewell();
                return;
            case Phase::stream:
                return self.sayFarewell();
            case Phase::request:
                if (self.pace_ > 0) self.close();
                return;
            case Phase::delay:
                return self.act();
            case Phase::farewell:
                return self.close();
            default:
                return;
        }
    });
}

void HttpConnection::abandon() {
    if (phase_ != Phase::closed) close();
}

}  // namespace zentara::collector
