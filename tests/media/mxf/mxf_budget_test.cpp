// SPDX-License-Identifier: GPL-3.0-or-later
// How few bytes of a long clip are read: at the probe, for all of its sound, with an index and without.
#include <atomic>
#include <barrier>
#include <thread>

#include <gtest/gtest.h>

#include "media/mxf/mxf_container.h"
#include "media/track/format_description.h"
#include "tests/media/mxf/mxf_reading.h"

namespace {

using media::MediaType;
using test::MXFFile;
using test::MXFTriplet;

constexpr std::size_t tracks = 8;
constexpr std::uint64_t seconds = 8;

/// A clip of 25 pictures a second at about 40 Mbit/s beside eight 24-bit tracks: a tiny one whose pictures
/// are made longer by whole steps of the grid that all elements lie on.
MXFFile longPictures() {
    constexpr std::uint64_t more = std::uint64_t{512} * 400;
    MXFFile file(test::clip({.container = test::Container::mxf,
                             .duration = seconds,
                             .sound = std::vector<test::SoundDescription>(tracks)}));
    for (MXFTriplet& triplet : file.triplets)
        if (triplet.isEssence() && triplet.key[12] == 0x15)
            triplet.value.resize(triplet.value.size() + more, 0x11);
    std::uint64_t picture = 0;
    for (MXFTriplet& triplet : file.triplets) {
        const std::size_t array = triplet.isIndex() ? triplet.property(0x3f0a) : 0;
        const std::uint64_t entries = array != 0 ? test::number(triplet.value, array, 4) : 0;
        for (std::uint64_t i = 0; i < entries; ++i, ++picture) {
            const std::size_t offset = array + 8 + 15 * i + 3, slice = offset + 8;
            test::setNumber(triplet.value, offset, 8,
                            test::number(triplet.value, offset, 8) + picture * more);
            test::setNumber(triplet.value, slice, 4, test::number(triplet.value, slice, 4) + more);
        }
    }
    EXPECT_EQ(picture, seconds * 25);
    return file;
}

/// Reads all sound tracks at once, never more than about a second apart. Returns the bytes of sound.
std::uint64_t readSound(const media::Container& container) {
    std::vector<std::size_t> sound;
    for (const media::Track& track : container.tracks())
        if (track.mediaType == MediaType::audio)
            sound.push_back(track.index);
    std::atomic<std::uint64_t> bytes = 0;
    std::barrier together(static_cast<std::ptrdiff_t>(sound.size()));
    std::vector<std::jthread> lanes;
    for (const std::size_t index : sound)
        lanes.emplace_back([&, index] {
            const auto reader = container.reader(index);
            media::StoredSamples samples;
            for (int i = 0; reader->next(samples); ++i) {
                bytes += samples.data.size();
                if (i % 4 == 3)
                    together.arrive_and_wait();
            }
            together.arrive_and_drop();
        });
    lanes.clear();
    return bytes;
}

TEST(MXFBudget, SoundIsReadAndHardlyAnythingElse) {
    for (const bool indexed : {true, false}) {
        MXFFile file = longPictures();
        if (!indexed) {
            file.remove(&MXFTriplet::isIndex);
            for (MXFTriplet& triplet : file.triplets)
                if (triplet.isPartition())
                    test::setNumber(triplet.value, 48, 4, 0);
        }
        const auto source = test::sourceOf(file.bytes());
        EXPECT_GT(source->size(), 50'000'000U);
        const auto container = media::mxf::open(source);
        EXPECT_EQ(container->duration(), (media::Time{seconds, 1}));
        EXPECT_LE(source->bytesRead(), 1U << 18);
        const std::uint64_t sound = readSound(*container);
        EXPECT_EQ(sound, seconds * 48'000 * 3 * tracks);
        EXPECT_LE(source->bytesRead(), sound + (indexed ? sound * 15 / 100 : (seconds + 2) * 65'536));
    }
}

} // namespace
