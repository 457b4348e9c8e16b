#include "collector/forward/Outbox.h"

#include <array>
#include <chrono>
#include <cstring>
#include <exception>
#include <future>
#include <utility>

#include "collector/data/JSONText.h"

namespace zentara::collector {

namespace {

constexpr DatabaseFile::Kind outboxKind{0x5A4F4258, 1};

constexpr const char* outboxTables = R"(
CREATE TABLE envelopes (
    number INTEGER PRIMARY KEY, receivedAt INTEGER NOT NULL, client TEXT NOT NULL,
    tenant TEXT NOT NULL, userType TEXT NOT NULL, userToken TEXT NOT NULL, facts TEXT NOT NULL);
CREATE TABLE events (
    ordinal INTEGER PRIMARY KEY, envelope INTEGER NOT NULL, size INTEGER NOT NULL,
    schema TEXT NOT NULL, actionUUID TEXT NOT NULL, context TEXT NOT NULL,
    sequence INTEGER NOT NULL, actionTs INTEGER NOT NULL, good INTEGER NOT NULL,
    findings TEXT NOT NULL, json TEXT NOT NULL);
CREATE TABLE refused (
    ordinal INTEGER PRIMARY KEY, refusedAt INTEGER NOT NULL, size INTEGER NOT NULL,
    reason TEXT NOT NULL, record TEXT NOT NULL);
)";

// What a row takes beside its long texts.
constexpr std::int64_t rowOverhead = 256;

constexpr std::string_view noFindings = "[]";

/// The members of an event that `EventRecord` has, without the numbers of a store.
std::string recordOf(const ForwardedEvent& event, std::string_view facts) {
    std::string record;
    record.reserve(512 + facts.size() + event.findings.size() + event.json.size());
    record += '{';
    appendMember(record, "schema", event.schema);
    appendMember(record, "actionUUID", event.actionUUID);
    appendMember(record, "sequence", event.sequence);
    appendRaw(record, "good", event.good ? "true" : "false");
    appendRaw(record, "messages", event.findings);
    record += ',';
    record += facts;
    appendRaw(record, "event", event.json);
    record += '}';
    return record;
}

std::int64_t now() {
    return std::chrono::duration_cast<std::chrono::milliseconds>(
               std::chrono::system_clock::now().time_since_epoch())
        .count();
}

}  // namespace

Outbox::Change& Outbox::Change::operator+=(const Change& other) {
    events += other.events;
    refused += other.refused;
    bytes += other.bytes;
    return *this;
}

Outbox::Outbox(const std::filesystem::path& file, const Limits& limits)
    : limits_(limits), file_(file, outboxKind), writer_(file), reader_(file) {
    try {
        setUp();
        count();
    } catch (const StoreError& error) {
        throw StoreError(file.string() + ": " + error.what());
    }
    thread_ = std::thread([this] { run(); });
}

Outbox::~Outbox() {
    {
        const std::lock_guard lock(mutex_);
        isEnding_ = true;
    }
    changed_.notify_all();
    thread_.join();
}

void Outbox::setUp() {
    if (writer_.number("SELECT count(*) FROM sqlite_schema") == 0) {
        Database::Transaction transaction(writer_, Database::Transaction::Kind::writing);
        writer_.execute(outboxTables +
                        ("PRAGMA application_id = " + std::to_string(outboxKind.applicationID)) +
                        "; PRAGMA user_version = " + std::to_string(outboxKind.newestVersion));
        transaction.commit();
    }
    writer_.useWriteAheadLog();
    writer_.execute(
        "PRAGMA wal_autocheckpoint = 4000; PRAGMA journal_size_limit = 67108864;"
        "PRAGMA secure_delete = FAST;");
    writer_.execute(limits_.flush ? "PRAGMA synchronous = FULL" : "PRAGMA synchronous = NORMAL");
    reader_.execute("PRAGMA query_only = ON");
}

void Outbox::count() {
    lastOrdinal_ = writer_.number("SELECT max(ordinal) FROM events");
    statistics_.events = writer_.number("SELECT count(*) FROM events");
    statistics_.refused = writer_.number("SELECT count(*) FROM refused");
    statistics_.bytes = writer_.number("SELECT sum(size) FROM events") +
                        writer_.number("SELECT sum(size) FROM refused");
    statistics_.oldest = writer_.number("SELECT receivedAt FROM envelopes ORDER BY number LIMIT 1");
}

std::string Outbox::whyFull(std::int64_t now) const {
    const std::lock_guard lock(mutex_);
    if (statistics_.bytes >= limits_.bytes) {
        return "the outbox is full: " + std::to_string(statistics_.bytes) +
               " bytes wait to be handed on";
    }
    if (statistics_.oldest != 0 && now - statistics_.oldest >= limits_.age.count()) {
        return "the outbox is too old: its first event waits for " +
               std::to_string((now - statistics_.oldest) / 1000) + " s";
    }
    return {};
}

void Outbox::add(Entry entry, Done done) {
    post({[this, entry = std::move(entry)] { return insert(entry); }, std::move(done)});
}

void Outbox::settle(std::shared_ptr<const Batch> batch, std::vector<Handover> results, Done done) {
    post({[this, batch = std::move(batch), results = std::move(results)] {
              return settleEach(*batch, results);
          },
          std::move(done)});
}

void Outbox::flush() {
    std::promise<void> flushed;
    post({[] { return Change{}; },
          [&flushed](const std::string&) {
              flushed.set_value();
          }});
    flushed.get_future().get();
}

void Outbox::post(Work work) {
    {
        const std::lock_guard lock(mutex_);
        works_.push_back(std::move(work));
    }
    changed_.notify_all();
}

void Outbox::run() {
    for (;;) {
        std::vector<Work> works;
        {
            std::unique_lock lock(mutex_);
            changed_.wait(lock, [this] { return isEnding_ || !works_.empty(); });
            if (works_.empty()) return;
            works.swap(works_);
        }
        const std::string failure = commit(works);
        for (const Work& work : works)
            work.done(failure);
    }
}

std::string Outbox::commit(const std::vector<Work>& works) {
    try {
        Change change;
        Database::Transaction transaction(writer_, Database::Transaction::Kind::writing);
        for (const Work& work : works)
            change += work.write();
        removeEmptyEnvelopes();
        const auto oldest =
            writer_.number("SELECT receivedAt FROM envelopes ORDER BY number LIMIT 1");
        transaction.commit();

        const std::lock_guard lock(mutex_);
        statistics_.events += change.events;
        statistics_.refused += change.refused;
        statistics_.bytes += change.bytes;
        statistics_.oldest = oldest;
    } catch (const std::exception& error) {
        return error.what();
    }
    changed_.notify_all();
    return {};
}

Outbox::Change Outbox::insert(const Entry& entry) {
    Change change;
    writer_.run("INSERT INTO envelopes VALUES (NULL, ?, ?, ?, ?, ?, ?)", entry.receivedAt,
                entry.envelope->clientUUID, entry.envelope->tenant, entry.user.type,
                entry.user.token, entry.facts);
    const auto number = writer_.number("SELECT last_insert_rowid()");
    for (std::size_t i = 0; i < entry.envelope->actions.size(); ++i) {
        const Action& action = entry.envelope->actions[i];
        const std::string& findings = entry.findings.at(i);
        const auto size = static_cast<std::int64_t>(action.json.size() + findings.size()) +
                          static_cast<std::int64_t>(i == 0 ? entry.facts.size() : 0) + rowOverhead;
        writer_.run("INSERT INTO events VALUES (?, ?, ?, ?, ?, ?, ?, ?, ?, ?, ?)", ++lastOrdinal_,
                    number, size, action.schema, action.uuid, action.contextID, action.sequence,
                    action.actionTs, findings == noFindings, findings, action.json);
        change.bytes += size;
        ++change.events;
    }
    return change;
}

Outbox::Change Outbox::settleEach(const Batch& batch, const std::vector<Handover>& results) {
    Change change;
    const auto removeBetween = [this](std::int64_t first, std::int64_t last) {
        writer_.run("DELETE FROM events WHERE ordinal BETWEEN ? AND ?", first, last);
    };
    std::size_t first = 0;  // of those that are removed together
    for (std::size_t i = 0; i < results.size(); ++i) {
        if (results[i].outcome == Handover::Outcome::failed) {
            if (first < i) removeBetween(batch.ordinals_[first], batch.ordinals_[i - 1]);
            first = i + 1;
            continue;
        }
        --change.events;
        if (results[i].outcome == Handover::Outcome::refused) {
            setAside(batch.events_[i], batch.sizes_[i], results[i].reason);
            ++change.refused;
        } else {
            change.bytes -= batch.sizes_[i];
        }
    }
    if (first < results.size()) removeBetween(batch.ordinals_[first], batch.ordinals_.back());
    return change;
}

void Outbox::setAside(const ForwardedEvent& event, std::int64_t size, const std::string& reason) {
    writer_.run("INSERT INTO refused VALUES (NULL, ?, ?, ?, ?)", now(), size,
                std::string_view(reason), event.record);
}

// The events are in the order of their envelopes.
void Outbox::removeEmptyEnvelopes() {
    auto first = writer_.query("SELECT envelope FROM events ORDER BY ordinal LIMIT 1");
    if (first.step()) {
        writer_.run("DELETE FROM envelopes WHERE number < ?", first.integer(0));
    } else {
        writer_.run("DELETE FROM envelopes");
    }
}

std::string_view Outbox::Batch::keep(std::string_view text) {
    if (text.empty()) return {};
    char* const place = static_cast<char*>(texts_.allocate(text.size(), 1));
    std::memcpy(place, text.data(), text.size());
    return {place, text.size()};
}

std::shared_ptr<const Outbox::Batch> Outbox::read(std::size_t mostEvents, std::int64_t mostBytes,
                                                  const Batch* follows) {
    const auto batch = std::make_shared<Batch>();
    const auto keep = [&batch](std::string_view text) {
        return batch->keep(text);
    };
    const auto after = follows == nullptr ? 0 : follows->ordinals_.back();
    std::int64_t bytes = 0;
    std::int64_t lastEnvelope = 0;
    std::array<std::string_view, 5> shared;  // what the events of an envelope have in common
    auto rows = reader_.query(
        "SELECT ordinal, size, number, receivedAt, client, tenant, userType, userToken, facts, "
        "schema, actionUUID, context, sequence, actionTs, good, findings, json "
        "FROM events JOIN envelopes ON number = envelope WHERE ordinal > ? ORDER BY ordinal LIMIT "
        "?",
        after, mostEvents);
    while (rows.step()) {
        bytes += rows.integer(1);
        if (bytes > mostBytes && !batch->events_.empty()) break;
        if (rows.integer(2) != lastEnvelope) {
            lastEnvelope = rows.integer(2);
            for (std::size_t i = 0; i < shared.size(); ++i)
                shared[i] = keep(rows.text(4 + static_cast<int>(i)));
        }
        ForwardedEvent event;
        event.receivedAt = rows.integer(3);
        event.client = shared[0];
        event.tenant = shared[1];
        event.userType = shared[2];
        event.userToken = shared[3];
        event.schema = keep(rows.text(9));
        event.actionUUID = keep(rows.text(10));
        event.context = keep(rows.text(11));
        event.sequence = rows.integer(12);
        event.actionTs = rows.integer(13);
        event.good = rows.integer(14) != 0;
        event.findings = keep(rows.text(15));
        event.json = keep(rows.text(16));
        event.record = keep(recordOf(event, shared[4]));
        batch->ordinals_.push_back(rows.integer(0));
        batch->sizes_.push_back(rows.integer(1));
        batch->events_.push_back(event);
    }
    return batch;
}

Outbox::Statistics Outbox::statistics() const {
    const std::lock_guard lock(mutex_);
    return statistics_;
}

bool Outbox::waitForEvents() {
    std::unique_lock lock(mutex_);
    changed_.wait(lock, [this] { return hasStopped_ || statistics_.events > 0; });
    return !hasStopped_;
}

void Outbox::endWaiting() {
    {
        const std::lock_guard lock(mutex_);
        hasStopped_ = true;
    }
    changed_.notify_all();
}

}  // namespace zentara::collector
