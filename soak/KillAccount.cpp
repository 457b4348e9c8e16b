#include "KillAccount.h"

#include <zentara/ClientSettings.h>
#include "json/JSONParser.h"

#include <algorithm>
#include <cstdio>
#include <sstream>

#include <zentara/ClientSettings.h>

#include "Arrivals.h"
#include "Table.h"
#include "Traffic.h"
#include "support/Files.h"

namespace zentara::soak {

namespace {

constexpr std::int64_t problemsShown = 20;
/// The sending threads of a host. Each may have sent one event without reporting it.
constexpr std::int64_t senders = 3;
/// Deliveries of a host at a time: those that it requests, and one that the library begins.
constexpr std::int64_t deliveriesAtOnce = 5;

}  // namespace

std::int64_t KillAccount::beginRun() {
    runs_.emplace_back();
    return static_cast<std::int64_t>(runs_.size()) - 1;
}

void KillAccount::take(const std::string& line) {
    std::istringstream words(line);
    std::string word;
    words >> word;
    if (word == "fetch") {
        ++runs_.back().deliveriesInFlight;
    } else if (word == "interrupt") {
        runs_.back().deliveriesInterrupted += deliveriesAtOnce;
    } else if (word == "leaving") {
        runs_.back().isLeaving = true;
    } else if (word == "fetched") {
        // After main has returned, a delivery ends because its batch was put back.
        if (!runs_.back().isLeaving) --runs_.back().deliveriesInFlight;
    } else if (word == "books") {
        for (const auto* name : {"queue", "held back", "delivered", "evicted"})
            words >> books_[name];
    } else {
        const auto outcome = word == "queued" ? Outcome::queued
                             : word == "held" ? Outcome::heldBack
                                              : Outcome::refused;
        std::int64_t number = -1;
        words >> number;
        if (word != "dropped" && outcome != Outcome::heldBack &&
            (outcome == Outcome::queued) != isValid(number)) {
            note("wrong result of validation: " + line);
        }
        outcomes_[number] = outcome;
    }
}

void KillAccount::endRun(bool wasKilled, std::int64_t ticks) {
    auto& run = runs_.back();
    if (wasKilled) {
        ++kills_;
        if (run.deliveriesInFlight > 0) ++killsWithDeliveries_;
    }
    run.deliveriesInFlight += ticks;
}

void KillAccount::readFiles(const std::filesystem::path& folder) {
    queued_ = 0;
    if (!std::filesystem::exists(folder)) return;
    std::set<std::int64_t> queued;
    std::set<std::int64_t> heldBack;
    for (const auto& entry : std::filesystem::recursive_directory_iterator(folder)) {
        const auto name = entry.path().filename().string();
        if (!entry.is_regular_file() || name.ends_with("lock") || name.ends_with(".boot") ||
            name == "zentara-consent")
            continue;
        const auto value = parseJSONValue(test::contentsOf(entry.path()));
        if (name.ends_with("spare") || name.ends_with(".new")) {
            if (!value.ok()) ++sparesCutShort_;
            continue;
        }
        ++filesRead_;
        const bool isList = value.ok() && value->isArray();
        if (!isList && (!value.ok() || name != "user-defaults.json")) note(name + " is not whole");
        if (name.find("unreadable") != std::string::npos ||
            name.find("damaged") != std::string::npos) {
            note(name + " could not be read by the host");
        }
        if (!isList || name.find("events-storage") == std::string::npos ||
            name.ends_with("checkpoint")) {
            continue;
        }
        auto& numbers = name.find("unvalidated") == std::string::npos ? queued : heldBack;
        for (const auto& event : value->array())
            numbers.insert(numberOf(event.object()).value_or(-1));
    }
    queued_ = static_cast<std::int64_t>(queued.size() + heldBack.size());
    std::int64_t inBoth = 0;
    for (const auto number : queued) {
        if (!heldBack.contains(number)) continue;
        ++inBoth;
        ++moves_[number];
    }
    if (inBoth > ClientSettings().dispatchBatchSize) {
        note(std::to_string(inBoth) + " events are in both queues");
    }
}

void KillAccount::reconcile(const collector::CollectorClient& collector) {
    std::map<std::int64_t, std::vector<Arrival>> byNumber;
    forEachArrival(collector, [&](const Arrival& arrival) {
        ++arrivals_;
        byNumber[arrival.number].push_back(arrival);
        auto& run = runs_.at(std::stoul(arrival.tenant));
        ++run.arrivals;
        if (arrival.isAcknowledged) ++run.acknowledged;
    });
    distinct_ = static_cast<std::int64_t>(byNumber.size());

    for (const auto& [number, outcome] : outcomes_) {
        const bool isDue = outcome != Outcome::refused && isValid(number);
        if (isDue == byNumber.contains(number)) continue;
        if (isDue) ++lost_;
        note("event " + std::to_string(number) + (isDue ? " is lost" : " was not to arrive"));
    }
    for (auto& [number, arrivals] : byNumber) {
        const auto outcome = outcomes_.find(number);
        auto& sender = runs_.at(static_cast<std::size_t>(number / numbersOfARun));
        if (outcome == outcomes_.end() && ++sender.unreported > senders) {
            note("no report of event " + std::to_string(number));
        }
        // The last run that delivered it got the answer. A slow collector may store the event of an
        // earlier run after that.
        std::stable_sort(arrivals.begin(), arrivals.end(), [](const auto& one, const auto& other) {
            return std::stol(one.tenant) < std::stol(other.tenant);
        });
        for (std::size_t i = 0; i + 1 < arrivals.size(); ++i) {
            const auto& repeated = arrivals[i];
            if (repeated.actionUUID != arrivals.back().actionUUID) {
                note("two events have the number " + std::to_string(number));
            }
            if (!repeated.isAcknowledged) {
                ++repeatedForFaults_;
            } else if (moves_[number] > 0) {
                --moves_[number];
                ++repeatedForMoves_;
            } else {
                ++repeatedForKills_;
                runs_.at(std::stoul(repeated.tenant)).repeatedEnvelopes.insert(repeated.envelope);
            }
        }
    }
    for (std::size_t run = 0; run < runs_.size(); ++run) {
        const auto repeated = static_cast<std::int64_t>(runs_[run].repeatedEnvelopes.size());
        if (repeated > runs_[run].deliveriesInFlight + runs_[run].deliveriesInterrupted) {
            note("run " + std::to_string(run) + " had " + std::to_string(repeated) +
                 " acknowledged batches repeated, and " +
                 std::to_string(runs_[run].deliveriesInFlight) + " in flight when it ended, " +
                 std::to_string(runs_[run].deliveriesInterrupted) + " interrupted");
        }
    }
    for (const auto* name : {"queue", "held back", "evicted"}) {
        if (books_[name] != 0) note(std::string("statistics, ") + name + ": not balanced");
    }
    if (books_["delivered"] != runs_.back().acknowledged) {
        note("the last host has delivered " + std::to_string(books_["delivered"]) +
             " events, and the collector has acknowledged " +
             std::to_string(runs_.back().acknowledged));
    }
    const auto summary = collector.get("/received/summary");
    for (const auto& [kind, count] : summary.at("faults").object())
        faults_[std::string(kind)] = count.integer();
}

void KillAccount::note(const std::string& problem) {
    if (++problems_ <= problemsShown) std::fprintf(stderr, "soak_kill: %s\n", problem.c_str());
}

void KillAccount::print() const {
    std::int64_t counts[3] = {};
    for (const auto& [number, outcome] : outcomes_)
        ++counts[static_cast<int>(outcome)];
    printRow("runs of the host", static_cast<std::int64_t>(runs_.size()));
    printRow("kills survived", kills_);
    printRow("  of these with a delivery in flight", killsWithDeliveries_);
    printRow("files read between the runs", filesRead_);
    printRow("  spares found half written", sparesCutShort_);
    printRow("events reported as queued", counts[0]);
    printRow("events reported as held back", counts[1]);
    printRow("events refused or dropped on purpose", counts[2]);
    printRow("events at the collector", arrivals_);
    printRow("  distinct", distinct_);
    printRow("  repeated, acknowledgement lost", repeatedForFaults_);
    printRow("  repeated, in flight at a kill or interruption", repeatedForKills_);
    printRow("  repeated, moved on from held back", repeatedForMoves_);
    std::int64_t bound = 0;
    for (const auto& run : runs_)
        bound += (run.deliveriesInFlight + run.deliveriesInterrupted) *
                 ClientSettings().dispatchBatchSize;
    printRow("events in flight at all ends, at most", bound);
    for (const auto& [kind, count] : faults_)
        printRow("fault met, " + kind, count);
    printRow("events lost", lost_);
    printRow("problems", problems_);
}

}  // namespace zentara::soak
