#include <unistd.h>

#include <zentara/JSONValue.h>
#include <algorithm>
#include <chrono>
#include <cstdint>
#include <cstdio>
#include <exception>
#include <fstream>
#include <iostream>
#include <istream>
#include <optional>
#include <set>
#include <stdexcept>
#include <string>
#include <utility>
#include <variant>

#include <zentara/ZentaraClient.h>

#include "track/EventLine.h"
#include "track/Interruption.h"
#include "track/Options.h"
#include "track/Outcome.h"
#include "track/ProgressBar.h"
#include "track/ResultsFile.h"
#include "track/Sender.h"

namespace {

using namespace zentara::track;
using zentara::ZentaraClient;

constexpr std::size_t eventsBetweenDrains = 1000;
constexpr std::chrono::milliseconds longestSilence{1000};

double seconds(std::chrono::milliseconds duration) {
    return std::chrono::duration<double>(duration).count();
}

/// Sends the lines of a stream and delivers what was accepted.
class Run {
  public:
    Run(const Options& options, Sender& sender, ResultsFile* results)
        : options_(options), sender_(sender), results_(results) {}

    int sendAll(std::istream& input) {
        LineReader lines(input);
        while (auto line = lines.next()) {
            sendLine(*line);
            if (queued_ >= eventsBetweenDrains && !deliver()) break;
        }
        if (drained_) deliver();
        report();
        if (options_.drain && !drained_) return exitUndelivered;
        // Events in memory only were delivered with the others.
        const auto delivered =
            tally_.of(Outcome::accepted) + (options_.drain ? tally_.of(Outcome::notSaved) : 0);
        return delivered == tally_.total() ? exitComplete : exitRefused;
    }

  private:
    void sendLine(const LineReader::Line& line) {
        auto read = line.tooLong ? UnreadableLine{"longer than 1 MiB"} : readEventLine(line.text);
        if (const auto* unreadable = std::get_if<UnreadableLine>(&read)) {
            std::cerr << "line " << line.number << ": " << unreadable->reason << '\n';
            return note(line.number, "", {Outcome::unreadable, unreadable->reason});
        }
        auto& event = std::get<EventLine>(read);
        for (const auto& name : event.unknownMembers) {
            if (!unknownMembers_.insert(name).second) continue;
            // As JSON, which escapes control characters.
            std::cerr
                << "line " << line.number << ": " << zentara::JSONValue(name).text()
                << " is not a member of an event and is ignored in this line and all others\n";
        }
        const std::string schema = event.schema();
        note(line.number, schema, sender_.send(std::move(event)));
    }

    void note(std::size_t line, const std::string& schema, const Result& result) {
        noteSentLine(line);
        tally_.add(result.outcome);
        const bool isQueued =
            result.outcome == Outcome::accepted || result.outcome == Outcome::notSaved;
        if (isQueued) ++queued_;
        if (results_ != nullptr) results_->add(line, schema, result);
        if (!options_.verbose || result.outcome == Outcome::unreadable) return;
        std::cout << "line " << line << ": " << schema << ' ' << outcomeName(result.outcome);
        if (!result.message.empty()) std::cout << ": " << result.message;
        std::cout << '\n';
    }

    /// Empties the queue, unless --no-drain is set. False if it could not be emptied.
    bool deliver() {
        const std::size_t total = std::exchange(queued_, 0);
        if (!options_.drain) return true;
        ProgressBar bar(stderr, ProgressBar::styleFor(stderr), "delivering", total);
        drained_ = sender_.drain(
            [&](std::int64_t delivered) { bar.show(static_cast<std::size_t>(delivered)); });
        bar.finish(drained_);
        if (!drained_) {
            std::cerr << "zentara-track: nothing could be delivered to "
                      << Sender::collectorAddress() << " for " << seconds(options_.drainTimeout)
                      << " s; " << Sender::queuedEvents() << '\n';
        }
        return drained_;
    }

    void report() const {
        std::cout << "events      " << tally_.total() << '\n';
        for (std::size_t index = 0; index < outcomeCount; ++index) {
            const auto outcome = static_cast<Outcome>(index);
            if (tally_.of(outcome) == 0) continue;
            std::cout << "  " << outcomeName(outcome) << ' ' << tally_.of(outcome) << '\n';
        }
        if (options_.drain) {
            std::cout << "batches     " << ZentaraClient::statistics().batchesDelivered
                      << (drained_ ? "" : ", not all") << '\n';
        }
        std::cout << Sender::failures();
        std::cout.flush();
    }

    const Options& options_;
    Sender& sender_;
    ResultsFile* results_;
    Tally tally_;
    std::set<std::string> unknownMembers_;  // that were reported
    std::size_t queued_ = 0;                // accepted since the queue was last empty
    bool drained_ = true;
};

int track(const Options& options) {
    std::ifstream file;
    if (options.input != "-") {
        file.open(options.input, std::ios::binary);
        if (!file.is_open()) throw std::runtime_error(options.input + " cannot be opened");
    }
    std::optional<ResultsFile> results;
    if (!options.results.empty()) results.emplace(options.results);

    Sender sender(options);
    const auto quietly = std::min(options.readyTimeout, longestSilence);
    auto problem = sender.waitUntilReady(quietly);
    if (problem && quietly < options.readyTimeout) {
        std::cerr << "zentara-track: waiting for the schemas of " << Sender::schemasAddress()
                  << " for " << seconds(options.readyTimeout) << " s: " << *problem << '\n';
        problem = sender.waitUntilReady(options.readyTimeout - quietly);
    }
    if (problem) {
        std::cerr << "zentara-track: no schemas from " << Sender::schemasAddress() << " within "
                  << seconds(options.readyTimeout) << " s: " << *problem
                  << "; --collector and --schemas name other addresses\n";
        return exitNotReady;
    }
    if (options.input == "-" && isatty(STDIN_FILENO) == 1) {
        std::cerr << "zentara-track: reads events from the terminal, a JSON object on each line; "
                     "Ctrl-D ends\n";
    }
    Run run(options, sender, results ? &*results : nullptr);
    const int exitCode = run.sendAll(options.input == "-" ? std::cin : file);
    if (results) results->close();
    return exitCode;
}

}  // namespace

int main(int argc, char** argv) {
    const auto parsed = parseOptions(argc, argv);
    if (!parsed.options) return parsed.exitCode;
    reportInterruptions();
    try {
        return track(*parsed.options);
    } catch (const std::exception& error) {
        std::cerr << "zentara-track: " << error.what() << '\n';
        return exitUsage;
    }
}
