// SPDX-License-Identifier: GPL-3.0-or-later
// Lanes of random speeds that end early: the order holds and nobody waits for ever.
#include <algorithm>
#include <random>
#include <thread>

#include <gtest/gtest.h>

#include "media/quicktime/writer/chunk_sequencer.h"

namespace {

using media::Chunk;
using media::ChunkSequencer;

/// The chunks of one lane: their starts, and an end.
using LaneTimes = std::vector<double>;

std::vector<LaneTimes> randomLanes(std::mt19937& random) {
    std::vector<LaneTimes> lanes(1 + random() % 12);
    for (LaneTimes& times : lanes) {
        const std::size_t chunks = random() % 60; // none at all in some
        times.push_back(0);
        for (std::size_t i = 0; i < chunks; ++i)
            times.push_back(times.back() + static_cast<double>(1 + random() % 4) / 4);
    }
    return lanes;
}

struct Written {
    double start;
    std::size_t lane;
    friend auto operator<=>(const Written&, const Written&) = default;
};

void dawdle(std::mt19937& random) {
    if (random() % 4 == 0)
        std::this_thread::yield();
    if (random() % 16 == 0)
        std::this_thread::sleep_for(std::chrono::microseconds(random() % 300));
}

/// Runs all lanes, each in a thread of its own. Returns whether each lane got rid of all its chunks.
std::vector<char> runLanes(ChunkSequencer& sequencer, const std::vector<LaneTimes>& lanes, unsigned seed) {
    std::vector<char> complete(lanes.size());
    for (std::size_t i = 0; i < lanes.size(); ++i)
        (void)sequencer.addLane();
    std::vector<std::jthread> threads;
    for (std::size_t lane = 0; lane < lanes.size(); ++lane)
        threads.emplace_back([&, lane] {
            std::mt19937 random(seed + static_cast<unsigned>(lane));
            Chunk chunk;
            bool going = true;
            for (std::size_t i = 0; going && i + 1 < lanes[lane].size(); ++i) {
                dawdle(random);
                chunk.data.assign(1 + random() % 64, static_cast<std::byte>(lane));
                chunk.samples = 1;
                chunk.start = lanes[lane][i];
                chunk.end = lanes[lane][i + 1];
                going = sequencer.push(lane, chunk);
                while (!sequencer.hasRoom(lane))
                    std::this_thread::yield();
            }
            sequencer.finish(lane);
            complete[lane] = going ? 1 : 0;
        });
    return threads.clear(), complete;
}

TEST(ChunkSequencer, KeepsTheOrderWhateverTheLanesSpeeds) {
    for (unsigned seed = 0; seed < 60; ++seed) {
        std::mt19937 random(seed);
        const auto lanes = randomLanes(random);
        std::vector<Written> expected;
        for (std::size_t lane = 0; lane < lanes.size(); ++lane)
            for (std::size_t i = 0; i + 1 < lanes[lane].size(); ++i)
                expected.push_back({lanes[lane][i], lane});
        std::sort(expected.begin(), expected.end());

        std::vector<Written> written;
        ChunkSequencer sequencer([&](std::size_t lane, const Chunk& chunk) {
            ASSERT_EQ(chunk.data.front(), static_cast<std::byte>(lane));
            written.push_back({chunk.start, lane});
        });
        const auto complete = runLanes(sequencer, lanes, seed);
        EXPECT_EQ(std::count(complete.begin(), complete.end(), 1), std::ssize(lanes));
        EXPECT_EQ(written, expected) << "seed " << seed;
        EXPECT_FALSE(sequencer.stopped());
    }
}

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
