// SPDX-License-Identifier: GPL-3.0-or-later
// Chunks leave the sequencer in the order of their times.
#include <gtest/gtest.h>

#include "media/quicktime/writer/chunk_sequencer.h"

namespace {

using media::Chunk;
using media::ChunkSequencer;

// A lane far ahead has no room until the slowest has come nearer or ended.
TEST(ChunkSequencer, TellsALaneThatRunsAhead) {
    std::vector<double> written;
    int told = 0;
    ChunkSequencer sequencer([&](std::size_t, const Chunk& chunk) { written.push_back(chunk.start); },
                             [&] { ++told; });
    const std::size_t slow = sequencer.addLane();
    const std::size_t fast = sequencer.addLane();
    const auto push = [&](std::size_t lane, double start) {
        Chunk chunk{{}, 1, start, start + 1};
        return sequencer.push(lane, chunk);
    };
    EXPECT_TRUE(push(fast, 0) && sequencer.hasRoom(fast));
    EXPECT_TRUE(push(fast, 1) && push(fast, 2));
    EXPECT_FALSE(sequencer.hasRoom(fast));
    EXPECT_TRUE(sequencer.hasRoom(slow));
    EXPECT_TRUE(written.empty());
    EXPECT_TRUE(push(slow, 0) && push(slow, 1)); // the fast lane's third may come before the slow one's
    EXPECT_EQ(written, (std::vector<double>{0, 0, 1, 1}));
    EXPECT_TRUE(sequencer.hasRoom(fast));
    sequencer.finish(slow);
    EXPECT_EQ(written.size(), 5U);
    EXPECT_EQ(told, 5);
}

} // namespace
