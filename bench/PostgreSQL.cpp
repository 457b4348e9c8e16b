// The cost of an event that is handed on to PostgreSQL, compared with COPY of the same rows: into
// the same tables with the same indices, and into a table without any. The server flushes nothing,
// since a flush takes the same time for all.

#include <random>
#include <stdexcept>
#include <string>

#include "Comparison.h"
#include "RowBatch.h"
#include "collector/forward/postgresql/PostgreSQLSink.h"
#include "support/PostgreSQLServer.h"

namespace zentara::bench {
namespace {

using namespace collector;

constexpr int rounds = 60;

void handOn(benchmark::State& state, bool hasIndices) {
    const auto size = static_cast<std::size_t>(state.range(0));
    for ([[maybe_unused]] auto _ : state) {
        const test::PostgreSQLServer server;
        const StopSignal never;
        PostgreSQLConnection copy(server.url(), never);
        PostgreSQLSink sink({.url = server.url(), .file = {}, .complain = {}});
        std::mt19937_64 random(17);
        const RowBatch first(0, size, random);
        (void)sink.deliver(first.events());
        (void)copy.run(copiedTables);
        Times ours;
        Times limit;
        for (int round = 1; round <= rounds; ++round) {
            const RowBatch batch(round, size, random);
            const auto rows = batch.rows();
            const auto uuids = batch.uuids();
            ours.measure([&] {
                for (const auto& [outcome, reason] : sink.deliver(batch.events()))
                    if (outcome != Handover::Outcome::delivered) throw std::runtime_error(reason);
            });
            limit.measure([&] {
                (void)copy.run("BEGIN");
                if (hasIndices) copy.copy("COPY copied.action_uuids FROM STDIN", uuids);
                copy.copy(copyInto(hasIndices ? "copied.events" : "copied.plain"), rows);
                (void)copy.run("COMMIT");
            });
        }
        const auto count = static_cast<double>(size);
        report(state, ours.mean() / count, limit.mean() / count, hasIndices ? 2 : 0);
    }
}

BENCHMARK_CAPTURE(handOn, same tables, true)
    ->Name("PostgreSQL, the same tables")
    ->Arg(100)
    ->Arg(1000)
    ->Iterations(1);
BENCHMARK_CAPTURE(handOn, bare table, false)
    ->Name("PostgreSQL, a bare table")
    ->Arg(100)
    ->Arg(1000)
    ->Iterations(1);

}  // namespace
}  // namespace zentara::bench
