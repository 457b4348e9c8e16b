#include "collector/forward/postgresql/PostgreSQLSink.h"

extern "C" __attribute__((visibility("default"))) zentara::collector::Sink* zentara_make_sink(
    const zentara::collector::Sink::Settings& settings) {
    return new zentara::collector::PostgreSQLSink(settings);
}
