#pragma once

#include <gtest/gtest.h>

#include <zentara/ZentaraClientStatistics.h>

namespace zentara::test {

/// Every event that was taken over is in one place. To be called when nothing moves.
inline void expectBalanced(const ZentaraClientStatistics& books) {
    EXPECT_EQ(books.accepted + books.notSaved + books.released + books.restored,
              books.delivered + books.evicted + books.waiting + books.underWay);
    EXPECT_EQ(books.heldBack + books.heldBackNotSaved + books.heldBackRestored,
              books.released + books.droppedInvalid + books.droppedUnknownSchema +
                  books.heldBackEvicted + books.heldBackWaiting);
}

}  // namespace zentara::test
