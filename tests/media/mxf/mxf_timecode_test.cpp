// SPDX-License-Identifier: GPL-3.0-or-later
// Timecode wherever an MXF file keeps it, and the samples and descriptions made from it.
#include <algorithm>

#include <gtest/gtest.h>

#include "media/track/format_description.h"
#include "tests/media/mxf/mxf_reading.h"
#include "tests/support/clip_maker.h"
#include "tests/support/probe.h"

namespace {

using media::MediaType;
using test::Bytes;
using test::edited;
using test::MXFFile;
using test::MXFTriplet;

constexpr std::uint8_t sequenceSet = 0x0f, sourceClipSet = 0x11, timecodeSet = 0x14, trackSet = 0x3b;

/// Splits the material package's timecode after ten frames, with a new number behind.
void splitTimecode(MXFFile& file) {
    MXFTriplet& first = *file.sets(timecodeSet).front();
    MXFTriplet second = first;
    first.set(0x0202, 10);
    second.set(0x0202, 40);
    second.set(0x1501, 500'000);
    second.put(0x3c0a, Bytes(16, 1));
    file.sets(sequenceSet).front()->put(0x1001, test::references({first, second}));
    file.triplets.insert(file.first(&MXFTriplet::isPrimer) + 1, second);
}

/// Sets one property of all timecode components.
std::function<void(MXFFile&)> all(std::uint16_t tag, std::uint64_t number) {
    return [=](MXFFile& file) { file.setAll(timecodeSet, tag, number); };
}

void withoutTimecode(MXFFile& file) {
    file.remove([](const MXFTriplet& other) { return other.isSet(timecodeSet); });
}

TEST(MXFTimecode, IsWhatTheFileSays) {
    struct Case {
        const char* name;
        const char* rate;
        std::function<void(MXFFile&)> edit;
        std::vector<std::int64_t> frames;
        media::TimecodeDescription counting{25, false, {25, 1}};
    };
    const auto dropFrame = [](MXFFile& file) {
        file.setAll(timecodeSet, 0x1502, 30);
        file.setAll(timecodeSet, 0x1503, 1);
        file.setAll(timecodeSet, 0x1501, 107'892);
    };
    const auto zeroInMaterial = [](MXFFile& file) { // the first component is the material package's
        file.setAll(timecodeSet, 0x1501, 1234);
        file.sets(timecodeSet).front()->set(0x1501, 0);
    };
    const auto trackInSamples = [](MXFFile& file) {
        file.sets(trackSet).front()->set(0x4b01, (std::uint64_t{48'000} << 32) | 1);
    };
    const auto withoutPicture = [](std::uint64_t base, std::uint64_t drop) {
        return [=](MXFFile& file) {
            for (const std::uint8_t kind : {sequenceSet, sourceClipSet})
                for (MXFTriplet* set : file.sets(kind))
                    if (set->bytesOf(0x0201)[11] == 2 && set->bytesOf(0x0201)[12] == 1) // picture
                        set->put(0x0201, Bytes(16));
            file.setAll(trackSet, 0x4b01, (std::uint64_t{48'000} << 32) | 1);
            file.setAll(sequenceSet, 0x0202, 96'000);
            file.setAll(sourceClipSet, 0x0202, 96'000);
            file.setAll(timecodeSet, 0x1502, base);
            file.setAll(timecodeSet, 0x1503, drop);
        };
    };
    const auto afterFiller = [](std::uint64_t start) {
        return [=](MXFFile& file) {
            MXFTriplet& first = *file.sets(timecodeSet).front();
            first.set(0x1501, start);
            const auto filler = test::metadataSet(0x09, 1, {{0x0202, test::bigEndian(10, 8)}});
            file.sets(sequenceSet).front()->put(0x1001, test::references({filler, first}));
            file.triplets.insert(file.first(&MXFTriplet::isPrimer) + 1, filler);
        };
    };
    const auto secondTrack = [](MXFFile& file) { // beside an auxiliary one, which comes first
        const auto main = test::metadataSet(
            timecodeSet, 1,
            {{0x0202, test::bigEndian(50, 8)}, {0x1501, test::bigEndian(777, 8)}, {0x1502, {0, 25}}});
        const auto track = test::metadataSet(trackSet, 2,
                                             {{0x4804, test::bigEndian(1, 4)},
                                              {0x4b01, test::bigEndian(0x19'0000'0001, 8)},
                                              {0x4803, main.bytesOf(0x3c0a)}});
        auto tracks = test::references(
            {*file.sets(trackSet)[0], *file.sets(trackSet)[1], *file.sets(trackSet)[2], track});
        file.sets(0x36).front()->put(0x4403, tracks);
        file.triplets.insert(file.first(&MXFTriplet::isPrimer) + 1, {main, track});
    };
    for (const Case& c : std::vector<Case>{
             {"as written", "25", [](MXFFile&) {}, {90'000}},
             {"two components", "25", splitTimecode, {90'000, 500'000}},
             {"more than 32 bits",
              "25",
              all(0x1501, 0x1'2345'6789),
              {0x1'2345'6789},
              {25, false, {25, 1}, true}},
             {"base 25 at 50", "50", all(0x1502, 25), {180'000}},
             {"base 30 at 59.94", "60000/1001", dropFrame, {107'892}, {30, true, {30'000, 1001}}},
             {"base 29 at 29.97", "30000/1001", all(0x1502, 29), {108'000}, {30, false, {30'000, 1001}}},
             {"file package's where the material's is zero", "25", zeroInMaterial, {1234}},
             {"track in samples", "25", trackInSamples, {90'000}},
             {"nothing but samples", "25", withoutPicture(24, 0), {90'000}, {24, false, {24, 1}}},
             {"samples and drop frame", "25", withoutPicture(30, 1), {90'000}, {30, true, {30'000, 1001}}},
             {"samples alone", "25", withoutPicture(0, 0), {90'000}},
             {"no base", "30000/1001", all(0x1502, 0), {108'000}, {30, false, {30'000, 1001}}},
             {"after ten frames of filler", "25", afterFiller(500), {490}},
             {"after filler over midnight", "25", afterFiller(3), {2'159'993}},
             {"the main track of two", "25", secondTrack, {777}},
             {"system item", "25", withoutTimecode, {90'000}},
             {"system item at 59.94", "60000/1001", withoutTimecode, {216'000}, {60, false, {60'000, 1001}}},
         }) {
        SCOPED_TRACE(c.name);
        const media::Asset asset = edited(c.rate, c.edit);
        const auto tracks = asset.tracks(MediaType::timecode);
        ASSERT_EQ(tracks.size(), 1U);
        const auto& format = tracks.front().get().formatDescriptions.front();
        EXPECT_EQ(test::timecodesOf(asset, tracks.front()), c.frames);
        EXPECT_EQ(format.timecode->base, c.counting.base);
        EXPECT_EQ(format.timecode->dropFrame, c.counting.dropFrame);
        EXPECT_EQ(format.timecode->rate, c.counting.rate);
        EXPECT_EQ(format.timecode->isWide, c.counting.isWide);
        EXPECT_EQ(tracks.front().get().end(), asset.duration());
    }
}

} // namespace
