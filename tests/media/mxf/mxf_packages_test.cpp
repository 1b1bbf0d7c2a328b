// SPDX-License-Identifier: GPL-3.0-or-later
// Clips that are put together from packages: which stretches of the stored sound they show, from which
// timecode on, by which descriptor.
#include <gtest/gtest.h>

#include "media/track/format_description.h"
#include "tests/media/mxf/mxf_reading.h"
#include "tests/support/probe.h"

namespace {

using media::MediaType;
using test::bigEndian;
using test::Bytes;
using test::metadataSet;
using test::MXFFile;
using test::MXFTriplet;
using test::references;

constexpr std::uint8_t groupSet = 0x05, fillerSet = 0x09, pulldownSet = 0x0c, sequenceSet = 0x0f,
                       sourceClipSet = 0x11, timecodeSet = 0x14, materialSet = 0x36, sourceSet = 0x37,
                       trackSet = 0x3b;
constexpr std::uint64_t unknown = UINT64_MAX;

using Sets = std::vector<MXFTriplet>;

void add(MXFFile& file, const Sets& sets) {
    file.triplets.insert(file.first(&MXFTriplet::isPrimer) + 1, sets.begin(), sets.end());
}

/// The material package's sound becomes these components, of which `more` are parts.
void soundIs(MXFFile& file, const Sets& components, const Sets& more = {}) {
    file.sets(sequenceSet)[2]->put(0x1001, references(components));
    add(file, components);
    add(file, more);
}

/// Units of the stored sound.
MXFTriplet stretch(std::uint8_t name, MXFFile& file, std::uint64_t start, std::uint64_t units) {
    return metadataSet(sourceClipSet, name,
                       {{0x0201, file.sets(sequenceSet)[2]->bytesOf(0x0201)},
                        {0x0202, bigEndian(units, 8)},
                        {0x1201, bigEndian(start, 8)},
                        {0x1101, file.sets(sourceSet)[0]->bytesOf(0x4401)},
                        {0x1102, bigEndian(3, 4)}});
}

MXFTriplet filler(std::uint8_t name, std::uint64_t units) {
    return metadataSet(fillerSet, name, {{0x0202, bigEndian(units, 8)}});
}

void withoutTimecode(MXFFile& file, std::ptrdiff_t copies) {
    for (; copies > 0; --copies)
        file.triplets.erase(file.first([](const MXFTriplet& set) { return set.isSet(timecodeSet); }));
}

/// Lets a source clip lead to a package of its own with timecode, which may come from another one again.
void madeFrom(MXFFile& file, std::uint8_t name, MXFTriplet& clip, std::uint64_t start, std::uint64_t timecode,
              const Sets& origin = {}) {
    clip.put(0x1101, Bytes(32, name));
    clip.put(0x1201, bigEndian(start, 8));
    Sets parts{metadataSet(
        timecodeSet, static_cast<std::uint8_t>(name + 1),
        {{0x0202, bigEndian(5000, 8)}, {0x1501, bigEndian(timecode, 8)}, {0x1502, bigEndian(25, 2)}})};
    parts.insert(parts.end(), origin.begin(), origin.end());
    Sets tracks;
    for (const MXFTriplet& part : parts)
        tracks.push_back(
            metadataSet(trackSet, static_cast<std::uint8_t>(name + 2 + tracks.size()),
                        {{0x4b01, bigEndian(0x19'0000'0001, 8)}, {0x4803, part.bytesOf(0x3c0a)}}));
    add(file, {metadataSet(sourceSet, name, {{0x4401, Bytes(32, name)}, {0x4403, references(tracks)}})});
    add(file, tracks);
    add(file, parts);
}

TEST(MXFPackages, AreFollowedToTheStoredSoundAndTheirTimecode) {
    struct Piece {
        std::ptrdiff_t first; ///< of the stored pictures; -1: silence
        std::ptrdiff_t units;
    };
    struct Case {
        const char* name;
        void (*edit)(MXFFile&);
        std::vector<Piece> sound;
        std::int64_t timecode = 90'000;
    };
    const std::vector<Case> cases{
        {"segments",
         [](MXFFile& f) {
             soundIs(f, {stretch(1, f, 30, 20), stretch(2, f, 0, 30)});
         },
         {{30, 20}, {0, 30}}},
        {"filler in front, between and behind",
         [](MXFFile& f) {
             soundIs(f,
                     {filler(1, 3), stretch(2, f, 10, 10), filler(3, 5), stretch(4, f, 40, 7), filler(5, 9)});
         },
         {{-1, 3}, {10, 10}, {-1, 5}, {40, 7}}},
        {"an open end",
         [](MXFFile& f) {
             soundIs(f, {stretch(1, f, 45, 5), stretch(2, f, 8, unknown)});
         },
         {{45, 5}, {8, 42}}},
        {"more than there is", [](MXFFile& f) { soundIs(f, {stretch(1, f, 40, 500)}); }, {{40, 10}}},
        {"on in another file",
         [](MXFFile& f) {
             Sets parts{stretch(1, f, 0, 40), stretch(2, f, 0, 10)};
             parts[1].put(0x1101, Bytes(32, 7));
             soundIs(f, parts);
         },
         {{0, 40}}},
        {"a bare clip for a sequence",
         [](MXFFile& f) {
             f.sets(trackSet)[2]->put(0x4803, Bytes(16, 1));
             add(f, {stretch(1, f, 20, 30)});
         },
         {{20, 30}}},
        {"an essence group",
         [](MXFFile& f) {
             const Sets choices{stretch(2, f, 5, 40), stretch(3, f, 0, 40)};
             soundIs(f,
                     {metadataSet(groupSet, 1, {{0x0202, bigEndian(40, 8)}, {0x0501, references(choices)}})},
                     choices);
         },
         {{5, 40}}},
        {"a pulldown",
         [](MXFFile& f) {
             soundIs(f, {metadataSet(pulldownSet, 1, {{0x0202, bigEndian(40, 8)}, {0x0d01, Bytes(16, 2)}})},
                     {stretch(2, f, 5, 32)});
         },
         {{5, 40}}},
        {"essence that begins before its package",
         [](MXFFile& f) {
             f.sets(trackSet).back()->set(0x4b02, 6);
             soundIs(f, {stretch(1, f, 2, 42)});
         },
         {{8, 42}}},
        {"a track number that isn't there",
         [](MXFFile& f) { f.sets(sourceClipSet)[1]->set(0x1102, 9); },
         {{0, 50}}},
        {"no material package",
         [](MXFFile& f) { f.remove([](const MXFTriplet& set) { return set.isSet(materialSet); }); },
         {{0, 50}}},
        {"timecode in the file package",
         [](MXFFile& f) {
             f.sets(timecodeSet)[1]->set(0x1501, 500);
             withoutTimecode(f, 1);
             f.sets(sourceClipSet)[0]->set(0x1201, 10);
         },
         {{0, 50}},
         510},
        {"timecode of the tape",
         [](MXFFile& f) {
             withoutTimecode(f, 2);
             madeFrom(f, 0x20, *f.sets(sourceClipSet)[2], 100, 7'000);
         },
         {{0, 50}},
         7'100},
        {"timecode of the tape's tape, as nobody set the others",
         [](MXFFile& f) {
             f.setAll(timecodeSet, 0x1501, 0);
             madeFrom(f, 0x20, *f.sets(sourceClipSet)[2], 0, 0);
             MXFTriplet tape = metadataSet(sourceClipSet, 0x40, {});
             madeFrom(f, 0x30, tape, 40, 8'000);
             madeFrom(f, 0x20, *f.sets(sourceClipSet)[2], 0, 0, {tape});
         },
         {{0, 50}},
         8'040},
    };
    const auto stored = test::decodeTrack(
        test::clip({.container = test::Container::mxf, .sound = {{.codec = "pcm_s16le"}}}), 0);
    for (const Case& c : cases) {
        SCOPED_TRACE(c.name);
        const media::Asset asset = test::edited("25", c.edit);
        constexpr std::ptrdiff_t unitBytes = std::ptrdiff_t{1920} * 4;
        std::vector<std::byte> expected;
        for (const Piece& piece : c.sound) {
            expected.resize(expected.size() + static_cast<std::size_t>(piece.units * unitBytes));
            if (piece.first >= 0)
                std::copy_n(stored.begin() + piece.first * unitBytes, piece.units * unitBytes,
                            expected.end() - piece.units * unitBytes);
        }
        const auto sound = asset.tracks(MediaType::audio), timecode = asset.tracks(MediaType::timecode);
        ASSERT_TRUE(sound.size() == 1 && timecode.size() == 1);
        const auto pcm = test::soundOf(asset, sound.front());
        EXPECT_EQ(pcm.size() / unitBytes, expected.size() / unitBytes);
        EXPECT_TRUE(pcm == expected);
        EXPECT_EQ(test::timecodesOf(asset, timecode.front()), std::vector{c.timecode});
    }
}

} // namespace
