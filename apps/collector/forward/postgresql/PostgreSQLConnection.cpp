#include "collector/forward/postgresql/PostgreSQLConnection.h"

#include <libpq-fe.h>
#include <poll.h>
#include <sys/eventfd.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstdint>
#include <cstdlib>
#include <new>
#include <sstream>
#include <system_error>
#include <utility>
#include <vector>

namespace zentara::collector {

namespace {

constexpr std::chrono::seconds usualConnectTimeout{10};

// What a URL may overrule: a server that has vanished is noticed within half a minute, and of
// several hosts the one that takes rows is found.
constexpr std::array<std::pair<const char*, const char*>, 7> defaults{{
    {"fallback_application_name", "zentara-collector"},
    {"client_encoding", "UTF8"},
    {"keepalives_idle", "10"},
    {"keepalives_interval", "5"},
    {"keepalives_count", "4"},
    {"tcp_user_timeout", "30000"},
    {"target_session_attrs", "read-write"},
}};

/// One line: libpq separates what it says of several hosts by line breaks.
std::string inOneLine(std::string_view text) {
    while (text.ends_with('\n'))
        text.remove_suffix(1);
    std::string line(text);
    std::replace(line.begin(), line.end(), '\n', ' ');
    std::erase(line, '\t');
    return line;
}

std::string field(const pg_result* result, int code) {
    const char* const text = PQresultErrorField(result, code);
    return text == nullptr ? "" : text;
}

bool isFailure(const pg_result* result) {
    const auto status = PQresultStatus(result);
    return status != PGRES_COMMAND_OK && status != PGRES_TUPLES_OK && status != PGRES_COPY_IN;
}

using Options = std::unique_ptr<PQconninfoOption, decltype(&PQconninfoFree)>;

/// Of a parameter; empty if it is not set.
std::string valueOf(const Options& options, std::string_view keyword) {
    const auto* option = options.get();
    while (option != nullptr && option->keyword != nullptr && option->keyword != keyword)
        ++option;
    return option == nullptr || option->val == nullptr ? "" : option->val;
}

std::vector<std::string> separated(const std::string& list) {
    std::vector<std::string> values;
    std::istringstream stream(list);
    for (std::string value; std::getline(stream, value, ',');)
        values.push_back(value);
    return values;
}

std::chrono::seconds connectTimeout(pg_conn* connection) {
    const Options options(PQconninfo(connection), PQconninfoFree);
    const int seconds = std::atoi(valueOf(options, "connect_timeout").c_str());
    return seconds > 0 ? std::chrono::seconds(std::min(seconds, 3600)) : usualConnectTimeout;
}

}  // namespace

bool PostgreSQLError::isAboutData() const {
    // Without a constraint, a check that failed is that of a partition which was removed meanwhile.
    if (state_ == "23514" && constraint_.empty()) return false;
    return state_.starts_with("22") || state_.starts_with("23") || state_.starts_with("54");
}

StopSignal::StopSignal() : descriptor_(::eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK)) {
    if (descriptor_ < 0) throw std::system_error(errno, std::generic_category(), "eventfd");
}

StopSignal::~StopSignal() {
    ::close(descriptor_);
}

void StopSignal::raise() const {
    // Fails only if the signal was raised 2^64 - 2 times before.
    (void)::eventfd_write(descriptor_, 1);
}

bool StopSignal::isRaised() const {
    pollfd file{descriptor_, POLLIN, 0};
    return ::poll(&file, 1, 0) > 0;
}

PostgreSQLConnection::Rows::Rows(pg_result* result) : result_(result, PQclear) {}

int PostgreSQLConnection::Rows::count() const {
    return PQntuples(result_.get());
}

std::string_view PostgreSQLConnection::Rows::text(int row, int column) const {
    return {PQgetvalue(result_.get(), row, column),
            static_cast<std::size_t>(PQgetlength(result_.get(), row, column))};
}

void PostgreSQLConnection::check(const std::string& url) {
    const Options options(PQconninfoParse(url.c_str(), nullptr), PQconninfoFree);
    if (!options) {
        // The reason that libpq gives may hold the URL.
        throw std::runtime_error(
            "libpq cannot read this URL; postgresql://USER@HOST:PORT/DATABASE?PARAMETER=VALUE is "
            "expected");
    }
    if (!valueOf(options, "password").empty() || !valueOf(options, "sslpassword").empty()) {
        throw std::runtime_error(
            "other users of this machine can see a password in a command line: put it into "
            "~/.pgpass, the file that PGPASSFILE names, or a service file "
            "(postgresql://?service=NAME)");
    }
}

PostgreSQLConnection::PostgreSQLConnection(const std::string& url, const StopSignal& stop)
    : stop_(stop), connection_(nullptr, PQfinish) {
    std::string failures;
    for (const auto& host : hostsOf(url)) {
        try {
            connect(url, host);
            return;
        } catch (const PostgreSQLError& error) {
            if (stop_.isRaised()) throw;
            if (!failures.empty()) failures += "; ";
            failures += error.what();
        }
    }
    throw PostgreSQLError(failures);
}

// libpq itself would wait for the first silent host until the system gives up, which takes minutes.
std::vector<PostgreSQLConnection::Parameters> PostgreSQLConnection::hostsOf(
    const std::string& url) {
    const Options options(PQconninfoParse(url.c_str(), nullptr), PQconninfoFree);
    std::vector<Parameters> hosts(1);
    for (const std::string keyword : {"host", "hostaddr", "port"}) {
        const auto values = separated(valueOf(options, keyword));
        if (values.size() < 2) continue;
        // A port alone is that of all hosts.
        hosts.resize(std::max(hosts.size(), values.size()));
        for (std::size_t i = 0; i < values.size(); ++i)
            hosts[i].emplace_back(keyword, values[i]);
    }
    return hosts;
}

void PostgreSQLConnection::connect(const std::string& url, const Parameters& host) {
    std::vector<const char*> keywords;
    std::vector<const char*> values;
    const auto add = [&](const char* keyword, const char* value) {
        keywords.push_back(keyword);
        values.push_back(value);
    };
    // The last one counts.
    for (const auto& [keyword, value] : defaults)
        add(keyword, value);
    add("dbname", url.c_str());
    for (const auto& [keyword, value] : host)
        add(keyword.c_str(), value.c_str());
    add(nullptr, nullptr);
    constexpr int expandsURL = 1;
    connection_.reset(PQconnectStartParams(keywords.data(), values.data(), expandsURL));
    if (!connection_) throw std::bad_alloc();
    // By default they are printed.
    PQsetNoticeReceiver(
        connection_.get(), [](void*, const pg_result*) {}, nullptr);
    if (PQstatus(connection_.get()) == CONNECTION_BAD) failAsLost();
    const auto end = Clock::now() + connectTimeout(connection_.get());
    for (auto state = PGRES_POLLING_WRITING; state != PGRES_POLLING_OK;
         state = PQconnectPoll(connection_.get())) {
        if (state == PGRES_POLLING_FAILED) failAsLost();
        wait(state == PGRES_POLLING_READING ? POLLIN : POLLOUT, end);
    }
    if (PQsetnonblocking(connection_.get(), 1) != 0) failAsLost();
}

PostgreSQLConnection::Rows PostgreSQLConnection::run(const std::string& sql) {
    send(sql);
    return Rows(last().release());
}

void PostgreSQLConnection::copy(const std::string& sql, std::string_view bytes) {
    send(sql);
    (void)last();
    if (PQputCopyData(connection_.get(), bytes.data(), static_cast<int>(bytes.size())) != 1 ||
        PQputCopyEnd(connection_.get(), nullptr) != 1) {
        failAsLost();
    }
    flush();
    (void)last();
}

void PostgreSQLConnection::send(const std::string& sql) {
    if (PQsendQuery(connection_.get(), sql.c_str()) != 1) failAsLost();
    flush();
}

void PostgreSQLConnection::flush() {
    while (true) {
        const int left = PQflush(connection_.get());
        if (left == 0) return;
        if (left < 0) failAsLost();
        // The server may wait until what it sends is read.
        wait(POLLIN | POLLOUT);
        if (PQconsumeInput(connection_.get()) != 1) failAsLost();
    }
}

PostgreSQLConnection::Result PostgreSQLConnection::next() {
    while (PQisBusy(connection_.get()) != 0) {
        wait(POLLIN);
        if (PQconsumeInput(connection_.get()) != 1) failAsLost();
    }
    return {PQgetResult(connection_.get()), PQclear};
}

PostgreSQLConnection::Result PostgreSQLConnection::last() {
    Result last(nullptr, PQclear);
    Result failure(nullptr, PQclear);
    while (auto result = next()) {
        // It is the same until the bytes have come.
        if (PQresultStatus(result.get()) == PGRES_COPY_IN) return result;
        (isFailure(result.get()) && !failure ? failure : last) = std::move(result);
    }
    if (!failure) return last;
    // The primary message alone, since the others may show values.
    const auto message = field(failure.get(), PG_DIAG_MESSAGE_PRIMARY);
    const auto state = field(failure.get(), PG_DIAG_SQLSTATE);
    if (message.empty() || state.empty()) failAsLost();
    throw PostgreSQLError(inOneLine(message), state, field(failure.get(), PG_DIAG_CONSTRAINT_NAME));
}

void PostgreSQLConnection::wait(short events, Clock::time_point end) {
    std::array<pollfd, 2> files{
        {{PQsocket(connection_.get()), events, 0}, {stop_.descriptor(), POLLIN, 0}}};
    if (files[0].fd < 0) failAsLost();
    while (true) {
        int milliseconds = -1;
        if (end != Clock::time_point::max()) {
            const auto left = std::chrono::ceil<std::chrono::milliseconds>(end - Clock::now());
            milliseconds = static_cast<int>(std::max<std::int64_t>(left.count(), 0));
        }
        const int ready = ::poll(files.data(), files.size(), milliseconds);
        if (ready < 0 && errno == EINTR) continue;
        if (ready < 0) throw PostgreSQLError(std::generic_category().message(errno));
        if (files[1].revents != 0) throw PostgreSQLError("stopped");
        if (ready == 0) throw PostgreSQLError("the server does not answer");
        return;
    }
}

void PostgreSQLConnection::failAsLost() const {
    throw PostgreSQLError(inOneLine(PQerrorMessage(connection_.get())));
}

}  // namespace zentara::collector
