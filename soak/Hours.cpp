// Simulates hours of an application in minutes: sends events through the whole library, with a
// simulated time, while the collector, the schemas service and the disk fail and recover. At the
// end the library's statistics and the collector's database must agree exactly, and memory,
// descriptors, threads and files must not have grown.
//
//     soak_hours [--events N]

#include <fcntl.h>
#include <unistd.h>

#include <CLI/CLI.hpp>

#include <array>
#include <atomic>
#include <cerrno>
#include <cstdint>
#include <cstdio>
#include <future>
#include <map>
#include <memory>
#include <stdexcept>
#include <string>
#include <vector>

#include "Arrivals.h"
#include "DrivenClient.h"
#include "Footprint.h"
#include "Table.h"
#include "Traffic.h"
#include "support/ClientCalls.h"
#include "support/ClientSettingsAccess.h"
#include "support/CollectorProcess.h"
#include "support/FaultyDisk.h"
#include "support/Files.h"
#include "support/WaitFor.h"

namespace zentara::soak {
namespace {

constexpr std::int64_t rounds = 24;

const std::vector<JSONObject> eventFaults{
    {{"latency", 3}},
    {{"answer", "lost"}, {"rate", 0.3}},
    {{"answer", "truncated"}, {"rate", 0.3}},
    {{"answer", "not-http"}, {"rate", 0.3}},
    {{"answer", "garbage"}, {"rate", 0.3}},
    {{"answer", "status"}, {"status", 500}, {"rate", 0.3}},
    {{"answer", "status"}, {"status", 302}, {"rate", 0.3}},
    {{"answer", "dropped"}, {"rate", 0.3}},
};
const JSONObject unavailable{{"answer", "status"}, {"status", 503}};

using test::DiskCall;

/// Failures of a disk, with their names in the table.
const std::vector<std::pair<std::string, test::DiskFault>> diskFaults{
    {"no space", {{DiskCall::write}, ENOSPC}},
    {"cannot write, now and then", {{DiskCall::write}, EIO, 3}},
    {"cannot rename", {{DiskCall::rename}, EIO}},
    {"cannot flush", {{DiskCall::flush, DiskCall::flushFolder}, EIO}},
    {"cannot open", {{DiskCall::open}, EMFILE}},
    {"cannot truncate", {{DiskCall::truncate}, EIO, 2}},
    {"read-only", {{DiskCall::open, DiskCall::rename, DiskCall::remove}, EROFS}},
};

/// The result that a handler got.
enum class Report { queued, inMemoryOnly, heldBack, invalid, unknown, dropped, denied };

/// Whether the host itself drops the event.
bool isDropped(std::int64_t number) {
    return number % 101 == 7;
}

Report reportOf(const ZentaraClientError* error) {
    if (error == nullptr) return Report::queued;
    if (dynamic_cast<const EventNotQueuedError*>(error) != nullptr) return Report::inMemoryOnly;
    if (dynamic_cast<const ZentaraClientNotReady*>(error) != nullptr) return Report::heldBack;
    if (dynamic_cast<const InvalidDataForSpecifiedSchemaError*>(error) != nullptr) {
        return Report::invalid;
    }
    if (dynamic_cast<const EventDroppedError*>(error) != nullptr) return Report::dropped;
    if (dynamic_cast<const ConsentDeniedError*>(error) != nullptr) return Report::denied;
    return Report::unknown;
}

class Driver {
  public:
    explicit Driver(std::int64_t events) : eventsOfARound_(events / rounds) {
        HostApplication::setDocumentsDirectory(documents());
        HostApplication::setPreferencesDirectory(directory_.path() / "preferences");
        auto endpoints = ZentaraEndpoints::current();
        endpoints.qaCollector = endpoints.qaSchemas = collector_.url();
        ZentaraEndpoints::use(endpoints);
        auto settings = std::make_shared<ClientSettings>();
        settings->tenant = "soak";
        settings->environment = ZentaraEnvironment::qa;
        settings->maxEvents = eventsOfARound_ / 3;
        ClientSettingsAccess::setCurrent(std::move(settings));
        ZentaraClient::setBeforeQueue([](OutgoingEvent& event) {
            const auto number = std::stoll(event.url.string());
            event.referer = "before-queue";
            return isDropped(number) ? EventDecision::drop : EventDecision::queue;
        });
        ZentaraClient::setDeliveryObserver([this](const DeliveryNotice& notice) {
            observed_[static_cast<std::size_t>(notice.kind)] += std::ssize(notice.actionUUIDs);
        });
        host_ = std::make_unique<DrivenClient>(disk_);
        host_->renew();
        awaitIdentity();
    }

    ~Driver() { ZentaraClient::setDeliveryObserver(nullptr); }
    Driver(const Driver&) = delete;
    Driver& operator=(const Driver&) = delete;

    void run() {
        for (std::int64_t round = 0; round < rounds; ++round) {
            liveThroughARound(round);
            footprints_.push_back(footprint(documents()));
        }
    }

    /// Compares and prints all figures. Whether there was no problem.
    [[nodiscard]] bool finish() {
        reconcile();
        print();
        return problems_ == 0;
    }

  private:
    void liveThroughARound(std::int64_t round) {
        const auto end = (round + 1) * eventsOfARound_;
        const auto part = eventsOfARound_ / 10;
        awaitSchemas();
        send(part);
        for (const auto which : {round, 3 * round + 1}) {
            setFault("event", eventFaults[static_cast<std::size_t>(which) % eventFaults.size()]);
            send(part);
        }
        setFault("event", {});
        sendToFaultyDisk(2 * round, part / 4);

        setFault("schemas", unavailable);
        host_->renew();
        send(part);
        sendToFaultyDisk(2 * round + 1, part / 4);
        setFault("schemas", {});
        awaitSchemas();
        send(part);
        drain();

        sendWithheld(part / 8);
        sendAndRemove(round, part / 8);

        // More than the queue holds. None of these events was sent before, so that evicted events
        // do not arrive.
        if (round % 3 == 0) setFault("event", unavailable);
        send(end - sent_);
        setFault("event", {});
        drain();
    }

    /// Sends the next events, one batch in each interval.
    void send(std::int64_t count) {
        const auto batchSize = ClientSettings().dispatchBatchSize;
        for (const auto end = sent_ + count; sent_ < end; ++sent_) {
            auto event = numberedEvent(sent_);
            host_->client().send(
                std::move(event.schemaId), std::move(event.schemaVersion), "application/json",
                sent_, "", std::move(event.properties), std::nullopt,
                [this](const EventRef&, const auto& error) { ++reports_[reportOf(error.get())]; });
            if (sent_ % batchSize == 0) passInterval();
        }
    }

    /// The events wait, first while delivery is paused, then for consent, and leave with a flush.
    void sendWithheld(std::int64_t count) {
        ZentaraClient::pauseDelivery();
        send(count);
        ZentaraClient::resumeDelivery();
        ZentaraClient::setConsent(Consent::pending);
        send(count);
        ZentaraClient::setConsent(Consent::granted);
        std::promise<FlushResult> flushed;
        ZentaraClient::flush(std::chrono::minutes(1),
                             [&flushed](const FlushResult& result) { flushed.set_value(result); });
        const auto result = flushed.get_future().get();
        if (result.outcome != FlushResult::Outcome::empty) note("flush: " + result.lastFailure);
        expectEqual("waiting after a flush", result.waiting, 0);
    }

    /// The events are removed before any of them is delivered, and never arrive.
    void sendAndRemove(std::int64_t round, std::int64_t count) {
        setFault("event", unavailable);
        send(count);
        passInterval(0);
        if (round % 2 == 0) {
            ZentaraClient::forgetUser();
        } else {
            ZentaraClient::setConsent(Consent::denied);
            send(count);
            ZentaraClient::setConsent(Consent::granted);
        }
        expectEqual("waiting after the removal", ZentaraClient::statistics().waiting, 0);
        setFault("event", {});
        // Once: a tick at each look would flood the services with requests.
        host_->passInterval();
        awaitIdentity();
    }

    void awaitIdentity() {
        await("an identity", [this] {
            bool isThere = false;
            host_->client().getAnonymousUser(
                [&](const auto& type, const auto&, const auto&) { isThere = !type.empty(); });
            return isThere;
        });
    }

    void sendToFaultyDisk(std::int64_t which, std::int64_t count) {
        const auto& [name, fault] = diskFaults[static_cast<std::size_t>(which) % diskFaults.size()];
        const auto before = disk_.failures();
        disk_.fail({fault});
        send(count);
        disk_.fail({});
        diskFaultsMet_[name] += static_cast<std::int64_t>(disk_.failures() - before);
    }

    void passInterval(std::int64_t mayBeInFlight = 40) {
        host_->passInterval();
        await("answers", [=] { return ZentaraClient::statistics().inFlight <= mayBeInFlight; });
    }

    void awaitSchemas() {
        if (!ZentaraClient::isReady()) host_->passInterval();
        await("schemas", ZentaraClient::isReady);
    }

    /// Delivers all queued events.
    void drain() {
        await("an empty queue", [this] {
            const auto now = ZentaraClient::statistics();
            if (now.heldBackWaiting > 0) send(1);
            passInterval(0);
            return now.waiting + now.inFlight + now.heldBackWaiting == 0;
        });
        const auto [queue, heldBack] = test::imbalances(ZentaraClient::statistics());
        expectEqual("imbalance of the queue", queue, 0);
        expectEqual("imbalance of what is held back", heldBack, 0);
    }

    void reconcile() {
        std::map<std::int64_t, std::string> arrived;
        std::int64_t acknowledged = 0;
        const auto requests = forEachArrival(collector_.client(), [&](const Arrival& arrival) {
            ++arrivals_;
            if (arrival.isAcknowledged) ++acknowledged;
            const auto& uuid = arrived.emplace(arrival.number, arrival.actionUUID).first->second;
            if (arrival.number >= sent_ || !isValid(arrival.number) || isDropped(arrival.number) ||
                uuid != arrival.actionUUID) {
                note("unexpected event " + std::to_string(arrival.number));
            }
        });
        const auto books = ZentaraClient::statistics();
        distinct_ = static_cast<std::int64_t>(arrived.size());
        expectEqual("accepted", books.accepted, reports_[Report::queued]);
        expectEqual("notSaved", books.notSaved, reports_[Report::inMemoryOnly]);
        expectEqual("heldBack", books.heldBack + books.heldBackNotSaved,
                    reports_[Report::heldBack]);
        expectEqual("refusedInvalid", books.refusedInvalid, reports_[Report::invalid]);
        expectEqual("refusedUnknownSchema", books.refusedUnknownSchema, reports_[Report::unknown]);
        expectEqual("droppedByHook", books.droppedByHook, reports_[Report::dropped]);
        expectEqual("refusedConsent", books.refusedConsent, reports_[Report::denied]);
        expectEqual("delivered", books.delivered, acknowledged);
        expectObserved(DeliveryNotice::Kind::delivered, books.delivered);
        expectObserved(DeliveryNotice::Kind::evicted, books.evicted + books.heldBackEvicted);
        expectObserved(DeliveryNotice::Kind::dropped, books.discarded + books.heldBackDiscarded +
                                                          books.droppedInvalid +
                                                          books.droppedUnknownSchema);
        expectObserved(DeliveryNotice::Kind::refused, 0);
        expectEqual("batches", books.batchesDelivered + books.batchesFailed, requests);
        lost_ = books.accepted + books.notSaved + books.released - books.evicted - books.discarded -
                distinct_;
        expectEqual("lost", lost_, 0);
        const auto grown = growth(footprints_);
        if (!grown.empty()) note("has grown: " + grown);
    }

    void print() const {
        const auto books = ZentaraClient::statistics();
        printRow("hours that passed", host_->timePassed() / std::chrono::hours(1));
        printRow("events sent", sent_);
        printRow("  accepted", books.accepted);
        printRow("  held back", books.heldBack);
        printRow("  kept in memory, as the disk failed", books.notSaved + books.heldBackNotSaved);
        printRow("  refused, wrong on purpose", books.refusedInvalid + books.refusedUnknownSchema);
        printRow("  dropped by the host", books.droppedByHook);
        printRow("  refused, consent denied", books.refusedConsent);
        printRow("removed, consent denied or user forgotten",
                 books.discarded + books.heldBackDiscarded);
        printRow("held back, then queued", books.released);
        printRow("held back, then refused", books.droppedInvalid + books.droppedUnknownSchema);
        printRow("dropped, the queue being full", books.evicted + books.heldBackEvicted);
        printRow("delivered", books.delivered);
        printRow("batches delivered", books.batchesDelivered);
        printRow("batches failed", books.batchesFailed);
        printRow("events at the collector", arrivals_);
        printRow("  distinct", distinct_);
        printRow("  repeated, acknowledgement lost", arrivals_ - distinct_);
        printRow("events lost", lost_);
        const auto summary = collector_.client().get("/received/summary");
        for (const auto& [kind, count] : summary.at("faults").object())
            printRow("fault met, " + std::string(kind), count.integer());
        for (const auto& [kind, count] : diskFaultsMet_)
            printRow("fault met, disk: " + kind, count);
        printMoment("at the start", footprints_.front());
        printMoment("in the middle", footprints_[footprints_.size() / 2]);
        printMoment("at the end", footprints_.back());
        printRow("problems", problems_);
    }

    static void printMoment(const std::string& when, const Footprint& footprint) {
        printRow("memory " + when + ", kB", footprint.residentBytes / 1000);
        printRow("connections " + when, footprint.connections);
        printRow("other descriptors " + when, footprint.descriptors);
        printRow("threads " + when, footprint.threads);
        printRow("files " + when, footprint.files);
        printRow("bytes in files " + when, footprint.diskBytes);
    }

    template <typename Condition>
    static void await(const std::string& what, const Condition& condition) {
        if (!test::eventually(condition)) throw std::runtime_error("waiting for " + what);
    }

    void expectEqual(const std::string& what, std::int64_t value, std::int64_t expected) {
        if (value == expected) return;
        note(what + ": " + std::to_string(value) + " instead of " + std::to_string(expected));
    }

    /// Compares what the delivery observer has counted, which is told on a worker.
    void expectObserved(DeliveryNotice::Kind kind, std::int64_t expected) {
        const auto index = static_cast<std::size_t>(kind);
        static_cast<void>(test::eventually([&] { return observed_[index] >= expected; }));
        expectEqual("observed, kind " + std::to_string(index), observed_[index], expected);
    }

    void note(const std::string& problem) {
        ++problems_;
        std::fprintf(stderr, "soak_hours: %s\n", problem.c_str());
    }

    void setFault(const char* service, const JSONObject& fault) {
        collector_.client().setFault(service, fault);
    }

    [[nodiscard]] std::string documents() const { return directory_.path() / "documents"; }

    const std::int64_t eventsOfARound_;
    const test::TemporaryDirectory directory_;
    const test::CollectorProcess collector_{
        ZENTARA_EXAMPLES "/schemas",
        {"--no-https", "--database", directory_.path() / "collector.sqlite"}};
    // The client uses it to the end of the process.
    test::FaultyDisk& disk_ = *new test::FaultyDisk;
    std::unique_ptr<DrivenClient> host_;
    std::int64_t sent_ = 0;
    std::map<Report, std::int64_t> reports_;
    std::array<std::atomic<std::int64_t>, 4> observed_{};  ///< by the kind of the notice
    std::map<std::string, std::int64_t> diskFaultsMet_;
    std::vector<Footprint> footprints_;
    std::int64_t arrivals_ = 0;
    std::int64_t distinct_ = 0;
    std::int64_t lost_ = 0;
    std::int64_t problems_ = 0;
};

}  // namespace
}  // namespace zentara::soak

int main(int argc, char** argv) {
    std::int64_t events = 4000;
    CLI::App options("Simulates hours of an application in minutes", "soak_hours");
    options.add_option("--events", events);
    CLI11_PARSE(options, argc, argv);
    // The library prints each event that it holds back to standard output.
    const int output = ::dup(STDOUT_FILENO);
    ::dup2(::open("/dev/null", O_WRONLY | O_CLOEXEC), STDOUT_FILENO);
    try {
        zentara::soak::Driver driver(events);
        driver.run();
        std::fflush(stdout);
        ::dup2(output, STDOUT_FILENO);
        return driver.finish() ? 0 : 1;
    } catch (const std::exception& error) {
        std::fprintf(stderr, "soak_hours: %s\n", error.what());
        return 1;
    }
}
