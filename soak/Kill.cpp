// Kills a host application again and again, at random moments, while the collector answers well or
// badly, and starts it again on the same folder. In the end all that the host was told to be queued
// or held back must have arrived, nothing else may have, and what arrived twice must have been
// under way when the host was killed, or its acknowledgement lost.
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
#include "support/TemporaryDirectory.h"

namespace zentara::soak {
namespace {

using namespace std::chrono_literals;
using Clock = std::chrono::steady_clock;

constexpr std::int64_t eventsOfARun = 400;
constexpr std::int64_t longQueue = 1500;
constexpr auto dispatchInterval = 10s;

/// Where nobody listens.
constexpr const char* nobody = "http://127.0.0.1:9";

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

/// A span of time that a random moment is to fall into, found by trying.
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

    /// One run of the host, which may end by itself before it is killed.
    void killOnce() {
        const bool isQueueLong = account_.waiting() > longQueue;
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

    /// Lets the host deliver everything that is left, and settles the account.
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
        Host(Driver& driver, const std::string& manner)
            : driver_(driver), process_(driver.command(driver.account_.beginRun(), manner)) {}

        /// The next thing that it reports; false at its end.
        bool read() {
            auto line = process_.readLine();
            if (line) driver_.account_.take(*line);
            line_ = std::move(line).value_or("");
            return !line_.empty();
        }
        [[nodiscard]] const std::string& line() const { return line_; }

        /// Waits for its end, after `signal` if that is not 0; what `ChildProcess::wait` returns.
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
        /// How many reports came after its end was asked for.
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

    void killWhileBusy(const std::string& manner) {
        Host host(*this, manner);
        const auto lines = 1 + upTo(eventsOfARun);
        for (std::int64_t line = 0; line < lines && host.read(); ++line) {
            if (line == lines / 2 && manner != "drain") {
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

    [[nodiscard]] std::vector<std::string> command(std::int64_t run, const std::string& manner) {
        const bool isCollectorAway = manner != "drain" && upTo(10) == 0;
        return {ZENTARA_KILL_HOST,
                isCollectorAway ? nobody : collector_.url(),
                collector_.url(),
                documents(),
                std::to_string(run),
                std::to_string(run * KillAccount::numbersOfARun),
                std::to_string(eventsOfARun),
                std::to_string(haste_),
                manner};
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
    CLI::App options("Kills a host application again and again", "soak_kill");
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
