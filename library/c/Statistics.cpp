#include "c/Boundary.h"
#include "c/StatisticsMembers.h"
#include "support/StatisticsNames.h"

using namespace zentara;
using namespace zentara::c;

namespace {

#define ZENTARA_ONE(name) +1
#define ZENTARA_ONE_IN_C(name, nameInC) +1
static_assert(ZENTARA_EACH_COUNT(ZENTARA_ONE) == ZENTARA_EACH_COUNT_IN_C(ZENTARA_ONE_IN_C) &&
                  ZENTARA_EACH_FAILURE(ZENTARA_ONE) == ZENTARA_EACH_FAILURE_IN_C(ZENTARA_ONE_IN_C),
              "C has each count and each failure");
static_assert(sizeof(zentara_statistics) ==
                  sizeof(std::size_t) + (ZENTARA_EACH_COUNT(ZENTARA_ONE)) * sizeof(std::int64_t) +
                      (ZENTARA_EACH_FAILURE(ZENTARA_ONE)) * sizeof(zentara_failure),
              "each name is a member of the record");
#undef ZENTARA_ONE
#undef ZENTARA_ONE_IN_C

struct NamedCount {
    const char* name;
    std::int64_t zentara_statistics::*member;
};
struct NamedFailure {
    const char* name;
    zentara_failure zentara_statistics::*member;
};
#define ZENTARA_NAME(name, nameInC) {#nameInC, &zentara_statistics::nameInC},
constexpr NamedCount counts[] = {ZENTARA_EACH_COUNT_IN_C(ZENTARA_NAME)};
constexpr NamedFailure failures[] = {ZENTARA_EACH_FAILURE_IN_C(ZENTARA_NAME)};
#undef ZENTARA_NAME

template <typename Named, std::size_t size>
const Named& find(const Named (&all)[size], zentara_text name) {
    for (const auto& one : all) {
        if (view(name) == one.name) return one;
    }
    refuse(ZENTARA_INVALID_ARGUMENT, "there is no statistic " + string(name));
}

template <typename Named, std::size_t size>
const char* nameAt(const Named (&all)[size], std::size_t index) noexcept {
    return index < size ? all[index].name : nullptr;
}

zentara_failure failureOf(const ZentaraClientFailure& failure) noexcept {
    return {borrowed(failure.text), failure.time, failure.inARow};
}

}  // namespace

zentara_status zentara_read_statistics(zentara_statistics* statistics) noexcept {
    return guarded([&] {
        auto& all = ThreadTexts::own().statistics;
        all = ZentaraClient::statistics();
        zentara_statistics values{};
#define ZENTARA_COPY_COUNT(name, nameInC) values.nameInC = all.name;
#define ZENTARA_COPY_FAILURE(name, nameInC) values.nameInC = failureOf(all.name);
        ZENTARA_EACH_COUNT_IN_C(ZENTARA_COPY_COUNT)
        ZENTARA_EACH_FAILURE_IN_C(ZENTARA_COPY_FAILURE)
#undef ZENTARA_COPY_COUNT
#undef ZENTARA_COPY_FAILURE
        writeRecord(statistics, values);
    });
}

size_t zentara_statistics_size() noexcept {
    return sizeof(zentara_statistics);
}

const char* zentara_count_name(size_t index) noexcept {
    return nameAt(counts, index);
}

const char* zentara_failure_name(size_t index) noexcept {
    return nameAt(failures, index);
}

zentara_status zentara_count_of(const zentara_statistics* statistics, zentara_text name,
                                int64_t* count) noexcept {
    return guarded([&] {
        if (count == nullptr) refuse(ZENTARA_INVALID_ARGUMENT, "a null count");
        *count = readRecord(statistics).*find(counts, name).member;
    });
}

zentara_status zentara_failure_of(const zentara_statistics* statistics, zentara_text name,
                                  zentara_failure* failure) noexcept {
    return guarded([&] {
        if (failure == nullptr) refuse(ZENTARA_INVALID_ARGUMENT, "a null failure");
        *failure = readRecord(statistics).*find(failures, name).member;
    });
}
