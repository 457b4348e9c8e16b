#pragma once

#include <string>

#include "collector/Front.h"
#include "support/Files.h"

namespace zentara::collector {

/// The parts of a collector behind its ports. It serves the schema "a-1" from its folder.
struct RunningCollector {
    RunningCollector() {
        test::writeTo(folder.path() / "a-1.json", R"({"properties":{"price":{"minimum":1}}})");
        (void)catalogue.refreshed();
    }
    ~RunningCollector() { queries.stop(); }
    RunningCollector(const RunningCollector&) = delete;
    RunningCollector& operator=(const RunningCollector&) = delete;

    [[nodiscard]] Front::Targets targets() { return {services, queries, metrics, health}; }

    const test::TemporaryDirectory folder;
    Store store;
    SchemaCatalogue catalogue{folder.path()};
    Faults faults;
    Metrics metrics{catalogue};
    Health health;
    Services services{store,
                      catalogue,
                      faults,
                      {.recorder = nullptr,
                       .report = [this](const auto& report) { metrics.count(report); },
                       .complaint = {}}};
    QueryInterface queries{store, catalogue, faults};
};

}  // namespace zentara::collector
