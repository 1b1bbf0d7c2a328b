// SPDX-License-Identifier: GPL-3.0-or-later
// Timecode wherever an MXF file keeps it, and the samples and descriptions made from it.
#include <algorithm>

#include <gtest/gtest.h>

#include "tests/media/mxf/mxf_reading.h"
#include "tests/support/clip_maker.h"
#include "tests/support/probe.h"

namespace {

using media::MediaType;
using test::Bytes;
using test::edited;
using test::MXFFile;
using test::MXFTriplet;

constexpr std::uint8_t sequenceSet = 0x0f, timecodeSet = 0x14, trackSet = 0x3b;

struct TimecodeCase {
    std::string name;
    std::string rate;
    std::function<void(MXFFile&)> edit;
    std::vector<std::int64_t> frames;
    std::uint32_t base = 25;
    std::uint32_t timescale = 25, frameDuration = 1;
    std::uint32_t flags = 2;
    media::FourCC subType = media::fourCC("tmcd");
};

class MXFTimecode : public testing::TestWithParam<TimecodeCase> {};

TEST_P(MXFTimecode, IsWhatTheFileSays) {
    const TimecodeCase& expected = GetParam();
    const media::Asset asset = edited(expected.rate, expected.edit);
    const auto tracks = asset.tracks(MediaType::timecode);
    ASSERT_EQ(tracks.size(), 1U);
    const auto& format = tracks.front().get().formatDescriptions.front();
    EXPECT_EQ(test::timecodesOf(asset, tracks.front()), expected.frames);
    EXPECT_EQ(format.mediaSubType, expected.subType);
    EXPECT_EQ(format.timecode->frameQuanta, expected.base);
    EXPECT_EQ(format.timecode->flags, expected.flags);
    EXPECT_EQ(format.timecode->timescale, expected.timescale);
    EXPECT_EQ(format.timecode->frameDuration, expected.frameDuration);
    EXPECT_EQ(tracks.front().get().end(), asset.duration());
}

/// Changes the timecode components; the first one is the material package's, the second the file package's.
std::function<void(MXFFile&)> timecodes(const std::function<void(MXFTriplet&, int)>& edit) {
    return [edit](MXFFile& file) {
        int place = 0;
        for (MXFTriplet& triplet : file.triplets)
            if (triplet.isSet(timecodeSet))
                edit(triplet, place++);
    };
}

/// Splits the material package's timecode after ten frames, with a new number behind.
void splitTimecode(MXFFile& file) {
    auto& all = file.triplets;
    const auto first =
        std::ranges::find_if(all, [](const MXFTriplet& other) { return other.isSet(timecodeSet); });
    MXFTriplet second = *first;
    first->set(0x0202, 10);
    second.set(0x0202, 40);
    second.set(0x1501, 500'000);
    second.value.at(second.property(0x3c0a) + 15) ^= 0xff;
    const Bytes instance(second.value.begin() + static_cast<std::ptrdiff_t>(second.property(0x3c0a)),
                         second.value.begin() + static_cast<std::ptrdiff_t>(second.property(0x3c0a)) + 16);
    const auto sequence = std::find_if(std::make_reverse_iterator(first), all.rend(),
                                       [](const MXFTriplet& other) { return other.isSet(sequenceSet); });
    const std::size_t components = sequence->property(0x1001);
    sequence->value.insert(sequence->value.begin() + static_cast<std::ptrdiff_t>(components) + 24,
                           instance.begin(), instance.end());
    test::setNumber(sequence->value, components - 2, 2, 8 + 32);
    test::setNumber(sequence->value, components, 4, 2);
    all.insert(first, second);
}

INSTANTIATE_TEST_SUITE_P(
    All, MXFTimecode,
    testing::Values(
        TimecodeCase{"asWritten", "25", [](MXFFile&) {}, {90'000}},
        TimecodeCase{"twoComponents", "25", splitTimecode, {90'000, 500'000}},
        TimecodeCase{"morethan32Bits",
                     "25",
                     timecodes([](MXFTriplet& component, int) { component.set(0x1501, 0x1'2345'6789); }),
                     {0x1'2345'6789},
                     25,
                     25,
                     1,
                     2,
                     media::fourCC("tc64")},
        TimecodeCase{"base25At50",
                     "50",
                     timecodes([](MXFTriplet& component, int) { component.set(0x1502, 25); }),
                     {180'000},
                     25},
        TimecodeCase{"base30At5994",
                     "60000/1001",
                     timecodes([](MXFTriplet& component, int) {
                         component.set(0x1502, 30);
                         component.set(0x1503, 1);
                         component.set(0x1501, 107'892);
                     }),
                     {107'892},
                     30,
                     30'000,
                     1001,
                     3},
        TimecodeCase{"base29At2997",
                     "30000/1001",
                     timecodes([](MXFTriplet& component, int) { component.set(0x1502, 29); }),
                     {108'000},
                     30,
                     30'000,
                     1001},
        TimecodeCase{
            "filePackageWhereMaterialIsZero",
            "25",
            timecodes([](MXFTriplet& component, int place) { component.set(0x1501, place == 0 ? 0 : 1234); }),
            {1234}},
        TimecodeCase{"trackInSamples",
                     "25",
                     [](MXFFile& file) {
                         const auto track = std::ranges::find_if(
                             file.triplets, [](const MXFTriplet& other) { return other.isSet(trackSet); });
                         track->set(0x4b01, (std::uint64_t{48'000} << 32) | 1);
                     },
                     {90'000}},
        TimecodeCase{"systemItem",
                     "25",
                     [](MXFFile& file) {
                         file.remove([](const MXFTriplet& other) { return other.isSet(timecodeSet); });
                     },
                     {90'000}},
        TimecodeCase{"systemItem5994",
                     "60000/1001",
                     [](MXFFile& file) {
                         file.remove([](const MXFTriplet& other) { return other.isSet(timecodeSet); });
                     },
                     {216'000},
                     60,
                     60'000,
                     1001}),
    [](const auto& instance) { return instance.param.name; });

} // namespace
