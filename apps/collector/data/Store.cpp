#include "collector/data/Store.h"

#include <algorithm>
#include <array>
#include <limits>
#include <utility>

#include "collector/data/JSONText.h"
#include "collector/data/Records.h"

namespace zentara::collector {

namespace {

constexpr DatabaseFile::Kind fileKind{0x5A434F4C, 2};

constexpr Store::Extent partOfVisit{500, std::size_t{1024} * 1024};

/// The indices cover what is counted and sorted by, so that the rows with their long texts are read
/// only to be shown.
constexpr const char* tables = R"(
CREATE TABLE requests (
    number INTEGER PRIMARY KEY, receivedAt INTEGER NOT NULL, service TEXT NOT NULL,
    method TEXT NOT NULL, target TEXT NOT NULL, secure INTEGER NOT NULL, headers TEXT NOT NULL,
    bodySize INTEGER NOT NULL, status INTEGER NOT NULL, reason TEXT NOT NULL, fault TEXT NOT NULL,
    storedEvents INTEGER NOT NULL, isStored INTEGER NOT NULL);
CREATE INDEX requestsByStored ON requests (isStored);
CREATE INDEX requestsWithFault ON requests (number) WHERE fault <> '';

CREATE TABLE envelopes (
    number INTEGER PRIMARY KEY, request INTEGER NOT NULL UNIQUE REFERENCES requests (number),
    facts TEXT NOT NULL, body TEXT NOT NULL);

CREATE TABLE events (
    number INTEGER PRIMARY KEY, envelope INTEGER NOT NULL REFERENCES envelopes (number),
    duplicate INTEGER NOT NULL, good INTEGER NOT NULL, receivedAt INTEGER NOT NULL,
    actionTs INTEGER NOT NULL, sequence INTEGER NOT NULL, schema TEXT NOT NULL,
    actionUUID TEXT NOT NULL, context TEXT NOT NULL, client TEXT NOT NULL, tenant TEXT NOT NULL,
    userType TEXT NOT NULL, userToken TEXT NOT NULL, findings TEXT NOT NULL, json TEXT NOT NULL);
CREATE INDEX eventsByTime ON events (receivedAt, good, duplicate);
CREATE INDEX eventsBySchema ON events (schema, number, good);
CREATE INDEX eventsByAction ON events (actionUUID);
CREATE INDEX eventsByContext ON events (context, number, sequence, duplicate);
CREATE INDEX badEvents ON events (number) WHERE good = 0;
CREATE INDEX duplicateEvents ON events (number) WHERE duplicate = 1;

CREATE TABLE faults (description TEXT PRIMARY KEY, count INTEGER NOT NULL) WITHOUT ROWID;
)";

/// Added by version 2.
constexpr const char* refusalsTable = R"(
CREATE TABLE refusals (
    ordinal INTEGER PRIMARY KEY,
    request INTEGER NOT NULL UNIQUE REFERENCES requests (number) ON DELETE CASCADE,
    body TEXT NOT NULL);
)";

constexpr const char* eventByNumber =
    "SELECT e.number, e.envelope, e.duplicate, e.good, e.schema, e.actionUUID, e.sequence, "
    "e.findings, n.facts, e.json "
    "FROM events e JOIN envelopes n ON n.number = e.envelope WHERE e.number = ?";

constexpr const char* requestColumns =
    "SELECT number, receivedAt, service, method, target, secure, headers, bodySize, status, "
    "reason, fault, storedEvents, body";
constexpr const char* allRequests = " FROM requests LEFT JOIN refusals ON request = number";

constexpr const char* envelopeColumns =
    "SELECT n.number, r.receivedAt, r.headers, n.body "
    "FROM envelopes n JOIN requests r ON r.number = n.request";

std::string_view serviceOf(const HttpRequest& request) {
    for (const std::string_view service : {"event", "id", "schemas"}) {
        if (request.path.starts_with('/') && request.path.substr(1) == service) return service;
    }
    return "";
}

std::int64_t boundLimit(std::optional<std::size_t> limit) {
    constexpr auto most = std::numeric_limits<std::int64_t>::max();
    if (!limit || *limit > static_cast<std::size_t>(most)) return most;
    return static_cast<std::int64_t>(*limit);
}

Database::Query start(Database& database, const std::string& sql,
                      const std::vector<SQLCondition::Value>& values) {
    Database::Query query = database.queryOnce(sql);
    for (const auto& value : values) {
        std::visit([&](const auto& each) { query.bind(each); }, value);
    }
    return query;
}

/// The numbers have no gaps.
std::size_t countRows(Database& database, const std::string& table) {
    return static_cast<std::size_t>(database.number("SELECT (SELECT max(number) FROM " + table +
                                                    ") - (SELECT min(number) FROM " + table +
                                                    ") + 1"));
}

std::size_t countIn(Database& database, const SQLCondition& condition,
                    std::optional<std::size_t> most) {
    if (condition.text.empty() && !most) return countRows(database, "events");
    auto rows =
        most ? start(database,
                     "SELECT count(*) FROM (SELECT 1 FROM events" + condition.text + " LIMIT ?)",
                     condition.values)
             : start(database, "SELECT count(*) FROM events" + condition.text, condition.values);
    if (most) rows.bind(boundLimit(most));
    return rows.step() ? static_cast<std::size_t>(rows.integer(0)) : 0;
}

const char* directionOf(Order order) {
    return order == Order::ascending ? " ASC" : " DESC";
}

std::string orderOf(const EventQuery& query) {
    constexpr std::array<const char*, 5> columns{"number", "receivedAt", "actionTs", "schema",
                                                 "sequence"};
    const std::string direction = directionOf(query.order);
    std::string order = columns.at(static_cast<std::size_t>(query.sort)) + direction;
    if (query.sort != EventQuery::Sort::number) order += ", number" + direction;
    return order;
}

/// The texts are borrowed from `row`.
std::string eventIn(const Database::Query& row) {
    EventRecord record;
    record.number = row.integer(0);
    record.envelope = row.integer(1);
    record.duplicate = row.integer(2) != 0;
    record.good = row.integer(3) != 0;
    record.schema = row.text(4);
    record.actionUUID = row.text(5);
    record.sequence = row.integer(6);
    record.findingsJSON = row.text(7);
    record.factsJSON = row.text(8);
    record.eventJSON = row.text(9);
    return record.json();
}

std::string requestIn(const Database::Query& row) {
    RequestRecord record;
    record.number = row.integer(0);
    record.receivedAt = row.integer(1);
    record.service = row.text(2);
    record.method = row.text(3);
    record.target = row.text(4);
    record.secure = row.integer(5) != 0;
    record.headersJSON = row.text(6);
    record.bodySize = row.integer(7);
    record.status = row.integer(8);
    record.reason = row.text(9);
    record.fault = row.text(10);
    record.storedEvents = row.integer(11);
    record.body = row.text(12);
    return record.json();
}

std::string envelopeIn(const Database::Query& row) {
    return EnvelopeRecord{row.integer(0), row.integer(1), row.text(2), row.text(3)}.json();
}

bool isRefusedPost(const HttpRequest& request, const Store::RequestNote& note) {
    return note.status >= 400 && note.fault.empty() && request.method != "GET" &&
           request.method != "HEAD";
}

/// The smallest round width that covers the time in `mostBuckets` buckets.
std::int64_t widthFor(std::int64_t first, std::int64_t last) {
    constexpr std::int64_t second = 1000;
    constexpr std::int64_t minute = 60 * second;
    constexpr std::int64_t hour = 60 * minute;
    constexpr std::int64_t day = 24 * hour;
    constexpr std::array<std::int64_t, 16> widths{second,      2 * second,  5 * second, 10 * second,
                                                  30 * second, minute,      2 * minute, 5 * minute,
                                                  10 * minute, 30 * minute, hour,       2 * hour,
                                                  6 * hour,    12 * hour,   day,        7 * day};
    const auto buckets = [&](std::int64_t width) {
        return last / width - first / width + 1;
    };
    for (const auto width : widths) {
        if (buckets(width) <= Store::mostBuckets) return width;
    }
    std::int64_t width = widths.back();
    while (buckets(width) > Store::mostBuckets)
        width *= 2;
    return width;
}

/// Without references to check, SQLite empties a table as a whole and not row by row.
class UncheckedReferences {
  public:
    explicit UncheckedReferences(Database& database) : database_(database) {
        database_.execute("PRAGMA foreign_keys = OFF");
    }
    UncheckedReferences(const UncheckedReferences&) = delete;
    UncheckedReferences& operator=(const UncheckedReferences&) = delete;
    ~UncheckedReferences() {
        try {
            database_.execute("PRAGMA foreign_keys = ON");
        } catch (const StoreError&) {
            // References only guard against mistakes of this program.
        }
    }

  private:
    Database& database_;
};

}  // namespace

Store::Store(const std::optional<std::filesystem::path>& file)
    : file_(file ? std::make_unique<DatabaseFile>(*file, fileKind) : nullptr), writer_(file) {
    try {
        if (file) reader_.emplace(file);
        setUp();
        rebuildCounts();
    } catch (const StoreError& error) {
        throw StoreError((file ? file->string() : "the database in memory") + ": " + error.what());
    }
}

Store::~Store() = default;

void Store::setUp() {
    writer_.execute("PRAGMA foreign_keys = ON; PRAGMA secure_delete = FAST;");
    createTables();
    if (!reader_) return;
    writer_.execute(
        "PRAGMA synchronous = NORMAL; PRAGMA wal_autocheckpoint = 4000;"
        "PRAGMA cache_size = -32000; PRAGMA journal_size_limit = 67108864;");
    reader_->execute("PRAGMA query_only = ON; PRAGMA cache_size = -8000;");
}

void Store::createTables() {
    if (writer_.number("SELECT count(*) FROM sqlite_schema") == 0) {
        // One transaction, before there is a write-ahead log, so that the marks of the file are in
        // the file itself from the start.
        Database::Transaction transaction(writer_, Database::Transaction::Kind::writing);
        writer_.execute(std::string(tables) + refusalsTable +
                        ("PRAGMA application_id = " + std::to_string(fileKind.applicationID)) +
                        "; PRAGMA user_version = " + std::to_string(fileKind.newestVersion));
        transaction.commit();
    } else if (writer_.number("PRAGMA user_version") < 2) {
        Database::Transaction transaction(writer_, Database::Transaction::Kind::writing);
        writer_.execute(refusalsTable + std::string("PRAGMA user_version = 2"));
        transaction.commit();
    }
    if (file_ != nullptr) writer_.useWriteAheadLog();
}

void Store::rebuildCounts() {
    const auto total = [this](std::string_view sql) {
        return static_cast<std::uint64_t>(writer_.number(sql));
    };
    summary_.requests = total("SELECT max(number) FROM requests");
    summary_.refused = total("SELECT max(ordinal) FROM refusals");
    summary_.envelopes = total("SELECT max(number) FROM envelopes");
    summary_.events = total("SELECT max(number) FROM events");
    summary_.lastNumber = static_cast<std::int64_t>(summary_.events);
    summary_.duplicates = total("SELECT count(*) FROM events WHERE duplicate = 1");
    summary_.distinctActions = summary_.events - summary_.duplicates;
    unstored_ = writer_.number("SELECT count(*) FROM requests WHERE isStored = 0");

    auto schemas = writer_.query("SELECT schema, count(*), sum(good) FROM events GROUP BY schema");
    while (schemas.step()) {
        const std::string schema(schemas.text(0));
        const auto events = static_cast<std::uint64_t>(schemas.integer(1));
        const auto good = static_cast<std::uint64_t>(schemas.integer(2));
        summary_.eventsBySchema.emplace(schema, events);
        if (good < events) summary_.badBySchema.emplace(schema, events - good);
        summary_.good += good;
        summary_.bad += events - good;
    }

    auto faults = writer_.query("SELECT description, count FROM faults");
    while (faults.step()) {
        summary_.faults.emplace(faults.text(0), static_cast<std::uint64_t>(faults.integer(1)));
    }

    auto contexts = writer_.query(
        "SELECT context, min(number) AS first FROM events WHERE duplicate = 0 "
        "GROUP BY context ORDER BY first");
    while (contexts.step()) {
        const std::string context(contexts.text(0));
        auto first =
            writer_.query("SELECT client FROM events WHERE number = ?", contexts.integer(1));
        const std::string client(first.step() ? first.text(0) : "");
        auto sequences = writer_.query(
            "SELECT sequence FROM events WHERE context = ? AND duplicate = 0 ORDER BY number",
            std::string_view(context));
        while (sequences.step())
            gaps_.add(context, client, sequences.integer(0));
    }
}

void Store::onChange(std::function<void()> changed) {
    changed_ = std::move(changed);
}

void Store::notify() const {
    if (changed_) changed_();
}

std::int64_t Store::insertRequest(const HttpRequest& request, const RequestNote& note,
                                  std::int64_t storedEvents, bool isStored) {
    const auto number = static_cast<std::int64_t>(summary_.requests) + 1;
    const std::string headers = headersJSON(request);
    writer_.run("INSERT INTO requests VALUES (?, ?, ?, ?, ?, ?, ?, ?, ?, ?, ?, ?, ?)", number,
                request.receivedAt, serviceOf(request), request.method, request.target,
                request.secure, headers, request.body.size(), note.status, note.reason, note.fault,
                storedEvents, isStored);
    if (!note.fault.empty()) {
        writer_.run(
            "INSERT INTO faults VALUES (?, 1) "
            "ON CONFLICT (description) DO UPDATE SET count = count + 1",
            note.fault);
    }
    return number;
}

void Store::insertRefusal(std::int64_t requestNumber, std::string_view body) {
    body = beginningOf(body, refusedBodySize);
    const auto ordinal = static_cast<std::int64_t>(summary_.refused) + 1;
    writer_.run("INSERT INTO refusals VALUES (?, ?, ?)", ordinal, requestNumber, body);
    writer_.run("DELETE FROM refusals WHERE ordinal <= ?",
                ordinal - static_cast<std::int64_t>(refusalCapacity));
}

void Store::countRequest(const RequestNote& note) {
    ++summary_.requests;
    if (!note.fault.empty()) ++summary_.faults[note.fault];
}

void Store::addRequest(const HttpRequest& request, const RequestNote& note) {
    {
        const std::lock_guard lock(writing_);
        Database::Transaction transaction(writer_, Database::Transaction::Kind::writing);
        const auto number = insertRequest(request, note, 0, false);
        const bool isRefused = isRefusedPost(request, note);
        if (isRefused) insertRefusal(number, request.body);
        const bool isFull = unstored_ >= static_cast<std::int64_t>(requestCapacity);
        if (isFull) {
            writer_.run(
                "DELETE FROM requests WHERE number = "
                "(SELECT number FROM requests WHERE isStored = 0 ORDER BY number LIMIT 1)");
        }
        transaction.commit();
        if (!isFull) ++unstored_;
        const std::lock_guard counting(counting_);
        countRequest(note);
        if (isRefused) ++summary_.refused;
    }
    notify();
}

std::vector<Store::Arrival> Store::addEnvelope(const HttpRequest& request, const Envelope& envelope,
                                               const std::vector<std::vector<Finding>>& findings,
                                               const RequestNote& note) {
    // Built before the lock is taken, as it does not depend on the stored events.
    const User user = userOf(request);
    const std::string facts = factsJSON(request, envelope, user);
    std::vector<Arrival> arrivals(envelope.actions.size());
    std::vector<std::string> messages(envelope.actions.size());
    for (std::size_t i = 0; i < arrivals.size(); ++i) {
        arrivals[i].schema = envelope.actions[i].schema;
        arrivals[i].actionUUID = envelope.actions[i].uuid;
        arrivals[i].good = findings.at(i).empty();
        messages[i] = findingsJSON(findings[i]);
    }

    std::int64_t envelopeNumber = 0;
    {
        const std::lock_guard lock(writing_);
        Database::Transaction transaction(writer_, Database::Transaction::Kind::writing);
        const auto requestNumber =
            insertRequest(request, note, static_cast<std::int64_t>(arrivals.size()), true);
        envelopeNumber = static_cast<std::int64_t>(summary_.envelopes) + 1;
        writer_.run("INSERT INTO envelopes VALUES (?, ?, ?, ?)", envelopeNumber, requestNumber,
                    facts, request.body);
        auto number = summary_.lastNumber;
        for (std::size_t i = 0; i < arrivals.size(); ++i) {
            const Action& action = envelope.actions[i];
            Arrival& arrival = arrivals[i];
            arrival.number = ++number;
            arrival.duplicate =
                writer_.query("SELECT 1 FROM events WHERE actionUUID = ? LIMIT 1", action.uuid)
                    .step();
            writer_.run(
                "INSERT INTO events VALUES (?, ?, ?, ?, ?, ?, ?, ?, ?, ?, ?, ?, ?, ?, ?, ?)",
                number, envelopeNumber, arrival.duplicate, arrival.good, request.receivedAt,
                action.actionTs, action.sequence, action.schema, action.uuid, action.contextID,
                envelope.clientUUID, envelope.tenant, user.type, user.token, messages[i],
                action.json);
        }
        transaction.commit();

        const std::lock_guard counting(counting_);
        countRequest(note);
        ++summary_.envelopes;
        summary_.events += arrivals.size();
        summary_.lastNumber = number;
        for (std::size_t i = 0; i < arrivals.size(); ++i) {
            const Arrival& arrival = arrivals[i];
            ++summary_.eventsBySchema[arrival.schema];
            ++(arrival.good ? summary_.good : summary_.bad);
            if (!arrival.good) ++summary_.badBySchema[arrival.schema];
            ++(arrival.duplicate ? summary_.duplicates : summary_.distinctActions);
            if (arrival.duplicate) continue;
            const Action& action = envelope.actions[i];
            gaps_.add(action.contextID, envelope.clientUUID, action.sequence);
        }
    }

    for (std::size_t i = 0; i < arrivals.size(); ++i) {
        Arrival& arrival = arrivals[i];
        const Action& action = envelope.actions[i];
        arrival.record =
            EventRecord{arrival.number, envelopeNumber,     arrival.duplicate, arrival.good,
                        arrival.schema, arrival.actionUUID, action.sequence,   messages[i],
                        facts,          action.json}
                .json();
    }
    notify();
    return arrivals;
}

Store::Summary Store::summary() const {
    const std::lock_guard lock(counting_);
    Summary summary = summary_;
    summary.missing = gaps_.missing();
    return summary;
}

std::vector<Gap> Store::gaps() const {
    const std::lock_guard lock(counting_);
    return gaps_.gaps();
}

template <typename Read>
auto Store::reading(Read read) const {
    const std::lock_guard lock(reader_ ? reading_ : writing_);
    Database& database = reader_ ? *reader_ : writer_;
    const Database::Transaction transaction(database, Database::Transaction::Kind::reading);
    return read(database);
}

Store::Page Store::events(const EventQuery& query) const {
    const SQLCondition condition = conditionFor(query.filter);
    return reading([&](Database& database) {
        Page page;
        page.total = countIn(database, condition, std::nullopt);
        if (query.offset >= page.total) return page;
        // Reads the numbers first, so that rows that are skipped are not read.
        std::string where = condition.text;
        std::size_t offset = query.offset;
        if (where.empty() && query.sort == EventQuery::Sort::number) {
            // Numbers have no gaps, so the offset is known.
            where = query.order == Order::ascending
                        ? " WHERE number > " + std::to_string(offset)
                        : " WHERE number <= " + std::to_string(page.total - offset);
            offset = 0;
        }
        auto rows = start(database,
                          "SELECT number FROM events" + where + " ORDER BY " + orderOf(query) +
                              " LIMIT ? OFFSET ?",
                          condition.values);
        rows.bind(boundLimit(query.limit));
        rows.bind(offset);
        while (rows.step()) {
            auto row = database.query(eventByNumber, rows.integer(0));
            if (row.step()) page.records.push_back(eventIn(row));
        }
        return page;
    });
}

std::string Store::lines(const EventFilter& filter, std::size_t size) const {
    const SQLCondition condition = conditionFor(filter);
    return reading([&](Database& database) {
        std::string text;
        auto rows =
            start(database, "SELECT number FROM events" + condition.text + " ORDER BY number",
                  condition.values);
        while (text.size() < size && rows.step()) {
            auto row = database.query(eventByNumber, rows.integer(0));
            if (row.step()) text += eventIn(row) + '\n';
        }
        return text;
    });
}

std::size_t Store::count(const EventFilter& filter, std::optional<std::size_t> most) const {
    const SQLCondition condition = conditionFor(filter);
    return reading([&](Database& database) { return countIn(database, condition, most); });
}

std::optional<std::string> Store::event(std::string_view actionUUID) const {
    return reading([&](Database& database) -> std::optional<std::string> {
        std::string arrivals;
        std::int64_t first = 0;
        auto rows = database.query("SELECT number FROM events WHERE actionUUID = ? ORDER BY number",
                                   actionUUID);
        while (rows.step()) {
            if (first == 0) first = rows.integer(0);
            if (!arrivals.empty()) arrivals += ',';
            arrivals += std::to_string(rows.integer(0));
        }
        if (first == 0) return std::nullopt;

        auto event = database.query(eventByNumber, first);
        (void)event.step();
        const auto envelopeNumber = event.integer(1);
        auto envelope =
            database.query(envelopeColumns + std::string(" WHERE n.number = ?"), envelopeNumber);
        (void)envelope.step();
        auto request =
            database.query(std::string(requestColumns) + allRequests +
                               " WHERE number = (SELECT request FROM envelopes WHERE number = ?)",
                           envelopeNumber);
        (void)request.step();
        return R"({"event":)" + eventIn(event) + R"(,"arrivals":[)" + arrivals +
               R"(],"envelope":)" + envelopeIn(envelope) + R"(,"request":)" + requestIn(request) +
               "}";
    });
}

Store::Page Store::envelopes(std::size_t offset, std::optional<std::size_t> limit) const {
    return reading([&](Database& database) {
        Page page;
        page.total = countRows(database, "envelopes");
        auto rows = database.query(
            envelopeColumns + std::string(" WHERE n.number > ? ORDER BY n.number LIMIT ?"),
            boundLimit(offset), boundLimit(limit));
        while (rows.step())
            page.records.push_back(envelopeIn(rows));
        return page;
    });
}

Store::Page Store::requests(const RequestQuery& query) const {
    std::string matching = allRequests;
    if (query.fault) matching += *query.fault ? " WHERE fault <> ''" : " WHERE fault = ''";
    if (query.refused) {
        matching += query.fault ? " AND " : " WHERE ";
        matching += *query.refused ? "ordinal IS NOT NULL" : "ordinal IS NULL";
    }
    return reading([&](Database& database) {
        Page page;
        page.total = static_cast<std::size_t>(database.number("SELECT count(*)" + matching));
        auto rows = database.query(requestColumns + matching + " ORDER BY number" +
                                       directionOf(query.order) + " LIMIT ? OFFSET ?",
                                   boundLimit(query.limit), boundLimit(query.offset));
        while (rows.step())
            page.records.push_back(requestIn(rows));
        return page;
    });
}

Store::Timeline Store::timeline(const EventFilter& filter,
                                std::optional<std::int64_t> width) const {
    const SQLCondition condition = conditionFor(filter);
    return reading([&](Database& database) {
        std::map<std::int64_t, Timeline::Bucket> moments;
        auto rows = start(database, "SELECT receivedAt, good FROM events" + condition.text,
                          condition.values);
        while (rows.step()) {
            // Arrives mostly in order of time.
            const auto moment = rows.integer(0);
            auto& counts = moments.try_emplace(moments.end(), moment)->second;
            ++(rows.integer(1) != 0 ? counts.good : counts.bad);
        }

        Timeline timeline;
        if (moments.empty()) return timeline;
        timeline.width = width ? std::max<std::int64_t>(*width, 1)
                               : widthFor(moments.begin()->first, moments.rbegin()->first);
        for (const auto& [moment, counts] : moments) {
            const auto start = moment - moment % timeline.width;
            if (timeline.buckets.empty() || timeline.buckets.back().start != start) {
                timeline.buckets.push_back({start, 0, 0});
            }
            timeline.buckets.back().good += counts.good;
            timeline.buckets.back().bad += counts.bad;
        }
        return timeline;
    });
}

std::size_t Store::visitLatest(const std::string& schema, const Visit& visit,
                               const Extent& most) const {
    const SQLCondition condition{"INDEXED BY eventsBySchema WHERE schema = ?", {schema}};
    return visitParts("json", condition, visit, most);
}

std::size_t Store::visitLatestBad(const Visit& visit, const Extent& most) const {
    return visitParts("findings", {"INDEXED BY badEvents WHERE good = 0", {}}, visit, most);
}

std::size_t Store::visitParts(const std::string& column, const SQLCondition& condition,
                              const Visit& visit, const Extent& most) const {
    const std::string sql = "SELECT number, receivedAt, schema, " + column + " FROM events " +
                            condition.text + " AND number < ? ORDER BY number DESC LIMIT ?";
    std::size_t visited = 0, size = 0;
    auto before = std::numeric_limits<std::int64_t>::max();
    // Events arrive between two parts.
    while (visited < most.events && size < most.bytes) {
        std::vector<StoredText> part;
        reading([&](Database& database) {
            auto rows = start(database, sql, condition.values);
            rows.bind(before);
            rows.bind(boundLimit(std::min(partOfVisit.events, most.events - visited)));
            const auto end = std::min(size + partOfVisit.bytes, most.bytes);
            while (size < end && rows.step()) {
                part.push_back({rows.integer(0), rows.integer(1), std::string(rows.text(2)),
                                std::string(rows.text(3))});
                size += part.back().text.size();
            }
        });
        if (part.empty()) break;
        for (const auto& text : part)
            visit(text);
        visited += part.size();
        before = part.back().number;
    }
    return visited;
}

void Store::keepLatest(std::size_t events) {
    const std::lock_guard lock(writing_);
    const auto kept = static_cast<std::int64_t>(events);
    // Removing some at a time costs less than removing each.
    if (static_cast<std::int64_t>(countRows(writer_, "events")) <= kept + kept / 8) return;
    const UncheckedReferences unchecked(writer_);
    Database::Transaction transaction(writer_, Database::Transaction::Kind::writing);
    auto oldest = writer_.query(
        "SELECT envelope, request FROM events JOIN envelopes n ON "
        "n.number = envelope WHERE events.number = ?",
        summary_.lastNumber - kept + 1);
    if (!oldest.step()) return;
    const auto envelope = oldest.integer(0);
    const auto request = oldest.integer(1);
    writer_.run("DELETE FROM events WHERE envelope < ? AND number <= ?", envelope,
                summary_.lastNumber - kept);
    writer_.run("DELETE FROM envelopes WHERE number < ?", envelope);
    writer_.run("DELETE FROM requests WHERE isStored = 1 AND number < ?", request);
    transaction.commit();
    const std::lock_guard counting(counting_);
    gaps_ = {};
}

void Store::emptyTables() {
    const UncheckedReferences unchecked(writer_);
    Database::Transaction transaction(writer_, Database::Transaction::Kind::writing);
    for (const char* table : {"events", "envelopes", "refusals", "requests", "faults"})
        writer_.execute(std::string("DELETE FROM ") + table);
    transaction.commit();
}

void Store::recreate() {
    const std::lock_guard lock(reading_);
    reader_->close();
    writer_.close();
    file_->clear();
    forgetCounts();
    writer_.open();
    reader_->open();
    setUp();
}

void Store::forgetCounts() {
    unstored_ = 0;
    const std::lock_guard counting(counting_);
    summary_ = {};
    gaps_ = {};
}

void Store::reset() {
    {
        const std::lock_guard lock(writing_);
        try {
            emptyTables();
            forgetCounts();
        } catch (const BusyError&) {
            throw;
        } catch (const StoreError&) {
            // Deleting rows needs room, which a full disk does not have.
            if (file_ == nullptr) throw;
            recreate();
        }
        // Frees and clears the space. Fails while there is a reader, which does no harm.
        try {
            writer_.execute("VACUUM; PRAGMA wal_checkpoint(TRUNCATE);");
        } catch (const StoreError&) {
        }
    }
    notify();
}

}  // namespace zentara::collector
