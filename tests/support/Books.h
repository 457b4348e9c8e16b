#pragma once

#include <gtest/gtest.h>

#include <zentara/ZentaraClientStatistics.h>

#include <cstdint>
#include <utility>

namespace zentara::test {

/// How many more events have come into the queue than are accounted for, and into the one of those
/// held back. To be called when nothing moves.
inline std::pair<std::int64_t, std::int64_t> imbalances(const ZentaraClientStatistics& books) {
    return {books.accepted + books.notSaved + books.released + books.restored -
                (books.delivered + books.evicted + books.waiting + books.inFlight),
            books.heldBack + books.heldBackNotSaved + books.heldBackRestored -
                (books.released + books.droppedInvalid + books.droppedUnknownSchema +
                 books.heldBackEvicted + books.heldBackWaiting)};
}

/// Every event that was taken over is in one place. To be called when nothing moves.
inline void expectBalanced(const ZentaraClientStatistics& books) {
    EXPECT_EQ(imbalances(books), std::pair(std::int64_t(0), std::int64_t(0)));
}

}  // namespace zentara::test
