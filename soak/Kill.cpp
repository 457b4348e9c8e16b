// Kills a host application repeatedly at random moments, while the collector works or fails, and
// restarts it on the same folder. At the end every event that was reported as queued or held back
// must have arrived, and no other. An event may arrive twice only if it was in flight when the host
// was killed, or if its acknowledgement was lost.
//
//     soak_kill [--kills N] [--seed N]

#include <signal.h>

#include <zentara/JSONValue.h>

#include <CLI/CLI.hpp>

#include <chrono>
#include <cstdint>
#include <cstdio>
#include <random>
#include <string>
#include <thread>
#include <vector>

#include "KillAccount.h"
#include "support/ChildProcess.h"
#include "support/CollectorProcess.h"
#include "support/Files.h"

namespace zentara::soak {
namespace {

using namespace std::chrono_literals;
using Clock = std::chrono::steady_clock;

constexpr std::int64_t eventsOfARun = 400;
constexpr std::int64_t longQueue = 1500;
constexpr auto dispatchInterval = 10s;

/// An address without a listener.
constexpr const char* unreachable = "http://127.0.0.1:9";

const std::vector<JSONObject> eventFaults{
    {},
    {},
    {},
    {{"latency", 5}},
    {{"latency", 60}},
    {{"answer", "lost"}, {"rate", 0.4}},
    {{"answer", "truncated"}, {"rate", 0.4}},
    {{"answer", "not-http"}, {"rate", 0.4}},
    {{"answer", "garbage"}, {"rate", 0.4}},
    {{"answer", "status"}, {"status", 500}, {"rate", 0.7}},
    {{"answer", "dropped"}, {"rate", 0.7}},
    {{"answer", "none"}, {"rate", 0.2}},
};
const std::vector<JSONObject> otherFaults{
    {}, {}, {}, {{"latency", 10}}, {{"latency", 50}}, {{"answer", "status"}, {"status", 503}},
};

/// The length of a period that a random moment should fall into, found by trial.
class Span {
  public:
    void learn(bool isOver) { length_ = isOver ? length_ * 2 / 3 : length_ * 4 / 3 + 1ms; }
    [[nodiscard]] Clock::duration length() const { return length_; }

  private:
    Clock::duration length_ = 10ms;
};

class Driver {
  public:
    explicit Driver(std::uint64_t seed) : random_(seed) {}

    /// Runs the host and kills it, unless it ends before.
    void killOnce() {
        const bool isQueueLong = account_.queued() > longQueue;
        setFault("event", eventFaults);
        setFault("id", otherFaults);
        // Without schemas all events are held back.
        haste_ = setFault("schemas", otherFaults).contains("status") ? eventsOfARun : upTo(60);
        if (isQueueLong) collector_.client().clearFaults();
        const auto kind = upTo(100);
        if (isQueueLong) {
            killWhileBusy("drain");
        } else if (kind < 25) {
            killWhileStarting();
        } else if (kind < 45) {
            killWhileLeaving();
        } else {
            killWhileBusy("linger");
        }
    }

    [[nodiscard]] std::int64_t kills() const { return account_.kills(); }

    /// Lets the host deliver all remaining events, and compares the figures.
    [[nodiscard]] bool finish() {
        collector_.client().clearFaults();
        Host host(*this, "drain");
        if (host.end(0) != 0) account_.note("the last host has failed");
        account_.reconcile(collector_.client());
        account_.print();
        return account_.isFlawless();
    }

  private:
    /// One run of the host.
    class Host {
      public:
        Host(Driver& driver, const std::string& mode)
            : driver_(driver), process_(driver.command(driver.account_.beginRun(), mode)) {}

        /// Reads the next report; false at the end of the host.
        bool read() {
            auto line = process_.readLine();
            if (line) driver_.account_.take(*line);
            line_ = std::move(line).value_or("");
            return !line_.empty();
        }
        [[nodiscard]] const std::string& line() const { return line_; }

        /// Sends `signal` unless it is 0, waits for the end and returns `ChildProcess::wait`.
        int end(int signal) {
            if (signal != 0) process_.signal(signal);
            while (read())
                ++lines_;
            const int code = process_.wait();
            if (code != 0 && code != -signal) {
                driver_.account_.note("a host has ended with " + std::to_string(code));
            }
            const auto age = Clock::now() - started_;
            driver_.account_.endRun(code < 0, 1 + age / dispatchInterval);
            driver_.account_.readFiles(driver_.documents());
            return code;
        }
        /// The number of reports during `end`.
        [[nodiscard]] int linesAtTheEnd() const { return lines_; }

      private:
        Driver& driver_;
        const Clock::time_point started_ = Clock::now();
        test::ChildProcess process_;
        std::string line_;
        int lines_ = 0;
    };

    void killWhileStarting() {
        Host host(*this, "linger");
        std::this_thread::sleep_for(upTo(start_.length() * 3 / 2));
        host.end(SIGKILL);
        start_.learn(host.linesAtTheEnd() > 0);
    }

    void killWhileBusy(const std::string& mode) {
        Host host(*this, mode);
        const auto lines = 1 + upTo(eventsOfARun);
        for (std::int64_t line = 0; line < lines && host.read(); ++line) {
            if (line == lines / 2 && mode != "drain") {
                setFault("event", eventFaults);
            }
        }
        host.end(SIGKILL);
    }

    void killWhileLeaving() {
        Host host(*this, "leave");
        while (host.read() && host.line() != "leaving") {
        }
        std::this_thread::sleep_for(upTo(leaving_.length() * 3 / 2));
        leaving_.learn(host.end(SIGKILL) == 0);
    }

    const JSONObject& setFault(const char* service, const std::vector<JSONObject>& faults) {
        const auto chosen = upTo(static_cast<std::int64_t>(faults.size()));
        const auto& fault = faults[static_cast<std::size_t>(chosen)];
        collector_.client().setFault(service, fault);
        return fault;
    }

    [[nodiscard]] std::vector<std::string> command(std::int64_t run, const std::string& mode) {
        const bool isCollectorAway = mode != "drain" && upTo(10) == 0;
        return {ZENTARA_KILL_HOST,
                isCollectorAway ? unreachable : collector_.url(),
                collector_.url(),
                documents(),
                std::to_string(run),
                std::to_string(run * KillAccount::numbersOfARun),
                std::to_string(eventsOfARun),
                std::to_string(haste_),
                mode};
    }

    [[nodiscard]] std::string documents() const { return directory_.path() / "documents"; }

    [[nodiscard]] std::int64_t upTo(std::int64_t end) {
        return std::uniform_int_distribution<std::int64_t>(0, end - 1)(random_);
    }
    [[nodiscard]] Clock::duration upTo(Clock::duration end) {
        return Clock::duration(upTo(end.count()));
    }

    std::mt19937_64 random_;
    const test::TemporaryDirectory directory_;
    const test::CollectorProcess collector_{
        ZENTARA_EXAMPLES "/schemas",
        {"--no-https", "--database", directory_.path() / "collector.sqlite"}};
    KillAccount account_;
    std::int64_t haste_ = 0;
    Span start_;
    Span leaving_;
};

}  // namespace
}  // namespace zentara::soak

int main(int argc, char** argv) {
    std::int64_t kills = 20;
    std::uint64_t seed = std::random_device()();
    CLI::App options("Kills a host application repeatedly", "soak_kill");
    options.add_option("--kills", kills);
    options.add_option("--seed", seed);
    CLI11_PARSE(options, argc, argv);
    std::printf("seed %llu\n", static_cast<unsigned long long>(seed));
    std::fflush(stdout);
    try {
        zentara::soak::Driver driver(seed);
        while (driver.kills() < kills)
            driver.killOnce();
        return driver.finish() ? 0 : 1;
    } catch (const std::exception& error) {
        std::fprintf(stderr, "soak_kill: %s\n", error.what());
        return 1;
    }
}
