// SPDX-License-Identifier: GPL-3.0-or-later
// Clips that cameras and recorders write and ffmpeg does not, edited from clips that it does: whatever the
// file's shape, the same sound, the same timecode, the same length.
#include <algorithm>
#include <functional>

#include <gtest/gtest.h>

#include "media/io/byte_source.h"
#include "tests/media/mxf/mxf_reading.h"
#include "tests/support/clip_maker.h"
#include "tests/support/mxf_editor.h"
#include "tests/support/probe.h"

namespace {

using media::MediaType;
using test::Bytes;
using test::MXFFile;
using test::MXFTriplet;

constexpr std::uint64_t unknown = UINT64_MAX;
constexpr std::uint8_t sequenceSet = 0x0f, sourceClipSet = 0x11, timecodeSet = 0x14, trackSet = 0x3b;

std::shared_ptr<const media::io::ByteSource> sourceOf(const Bytes& bytes) {
    const auto raw = std::as_bytes(std::span(bytes));
    return media::io::memorySource({raw.begin(), raw.end()});
}

/// Drop frame, rates out of step, more than one body partition: 22 seconds are three.
test::ClipDescription longClip() {
    test::ClipDescription clip;
    clip.container = test::Container::mxf;
    clip.rate = "30000/1001";
    clip.timecode = "00:59:59;28";
    clip.duration = 22;
    clip.sound.assign(3, {.codec = "pcm_s24le"});
    return clip;
}
constexpr std::int64_t longClipStart = 107'890;

/// What the edited clips must still be.
struct Original {
    std::filesystem::path path;
    std::vector<std::vector<std::byte>> sound;
    media::Time duration;
};

const Original& original() {
    static const Original made = [] {
        Original clip;
        clip.path = test::clip(longClip());
        for (std::size_t i = 0; i < longClip().sound.size(); ++i)
            clip.sound.push_back(test::decodeTrack(clip.path, i));
        clip.duration = media::Asset(clip.path).duration();
        return clip;
    }();
    return made;
}

void expectSameClip(const media::Asset& asset) {
    EXPECT_EQ(asset.duration(), original().duration);
    const auto sound = asset.tracks(MediaType::audio);
    ASSERT_EQ(sound.size(), original().sound.size());
    for (std::size_t i = 0; i < sound.size(); ++i)
        EXPECT_TRUE(test::soundOf(asset, sound[i]) == original().sound[i]) << "track " << i;
    const auto timecode = asset.tracks(MediaType::timecode);
    ASSERT_EQ(timecode.size(), 1U);
    EXPECT_EQ(test::timecodesOf(asset, timecode.front()), std::vector{longClipStart});
    EXPECT_EQ(timecode.front().get().formatDescriptions.front().timecode->flags & 1, 1U);
}

void forgetLengths(MXFTriplet& triplet) {
    if (triplet.isSet(sequenceSet) || triplet.isSet(sourceClipSet) || triplet.isSet(timecodeSet))
        triplet.set(0x0202, unknown);
}

/// As a writer leaves it that can't go back: an open header without lengths and without the footer's place.
void openHeader(MXFFile& file) {
    bool inHeader = true;
    for (MXFTriplet& triplet : file.triplets) {
        inHeader = inHeader && !triplet.isBody();
        if (triplet.isPartition() && !triplet.isFooter())
            triplet.key[14] = 1;
        if (triplet.isPartition())
            test::setNumber(triplet.value, 24, 8, 0);
        if (inHeader)
            forgetLengths(triplet);
    }
}

/// Gives the footer the header's copy of the metadata.
void metadataInFooter(MXFFile& file) {
    std::vector<MXFTriplet> metadata;
    for (const MXFTriplet& triplet : file.triplets)
        if (triplet.isMetadata())
            metadata.push_back(triplet);
    const auto footer =
        std::ranges::find_if(file.triplets, [](const MXFTriplet& other) { return other.isFooter(); });
    file.triplets.insert(footer + 1, metadata.begin(), metadata.end());
}

void withoutIndex(MXFFile& file) {
    file.remove([](const MXFTriplet& triplet) { return triplet.isIndex(); });
    for (MXFTriplet& triplet : file.triplets)
        if (triplet.isPartition())
            test::setNumber(triplet.value, 48, 4, 0);
}

void withoutRandomIndex(MXFFile& file) {
    file.remove([](const MXFTriplet& triplet) { return triplet.isRandomIndex(); });
}

/// The partitions as runs of triplets, to be put in another order.
std::vector<std::vector<MXFTriplet>> partitionsOf(const MXFFile& file) {
    std::vector<std::vector<MXFTriplet>> partitions;
    for (const MXFTriplet& triplet : file.triplets) {
        if (triplet.isPartition() || triplet.isRandomIndex())
            partitions.emplace_back();
        partitions.back().push_back(triplet);
    }
    return partitions;
}

void swapBodies(MXFFile& file) {
    auto partitions = partitionsOf(file);
    std::swap(partitions.at(1), partitions.at(2));
    file.triplets.clear();
    for (const auto& partition : partitions)
        file.triplets.insert(file.triplets.end(), partition.begin(), partition.end());
}

/// All index segments in one partition before all essence.
void indexFirst(MXFFile& file) {
    std::vector<MXFTriplet> moved;
    for (const MXFTriplet& triplet : file.triplets) {
        if (triplet.isFooter())
            moved.insert(moved.begin(), triplet);
        else if (triplet.isIndex())
            moved.push_back(triplet);
    }
    moved.front().key[13] = 3;
    withoutIndex(file);
    test::setNumber(moved.front().value, 48, 4, 2);
    const auto body =
        std::ranges::find_if(file.triplets, [](const MXFTriplet& other) { return other.isBody(); });
    file.triplets.insert(body, moved.begin(), moved.end());
}

struct Variant {
    std::string name;
    std::function<void(MXFFile&)> edit;
};

class MXFVariants : public testing::TestWithParam<Variant> {};

TEST_P(MXFVariants, KeepSoundTimecodeAndLength) {
    MXFFile file(original().path);
    GetParam().edit(file);
    expectSameClip(media::Asset(sourceOf(file.bytes())));
}

INSTANTIATE_TEST_SUITE_P(
    All, MXFVariants,
    testing::Values(Variant{"unchanged", [](MXFFile&) {}}, Variant{"withoutIndex", withoutIndex},
                    Variant{"withoutRandomIndex", withoutRandomIndex},
                    Variant{"withoutEither",
                            [](MXFFile& file) {
                                withoutIndex(file);
                                withoutRandomIndex(file);
                            }},
                    Variant{"openHeaderMetadataInFooter",
                            [](MXFFile& file) {
                                metadataInFooter(file);
                                openHeader(file);
                            }},
                    Variant{"metadataInFooterOnly",
                            [](MXFFile& file) {
                                metadataInFooter(file);
                                openHeader(file);
                                const auto body = std::ranges::find_if(
                                    file.triplets, [](const MXFTriplet& other) { return other.isBody(); });
                                file.triplets.erase(file.triplets.begin() + 1, body);
                            }},
                    Variant{"openHeaderWithoutRandomIndex",
                            [](MXFFile& file) {
                                metadataInFooter(file);
                                openHeader(file);
                                withoutRandomIndex(file);
                            }},
                    Variant{"lengthsNowhere", openHeader},
                    Variant{"lengthsNowhereWithoutIndex",
                            [](MXFFile& file) {
                                openHeader(file);
                                withoutIndex(file);
                            }},
                    Variant{"runIn", [](MXFFile& file) { file.runIn.assign(3'001, 0x06); }},
                    Variant{"longLengths", [](MXFFile& file) { file.setLengthBytes(9); }},
                    Variant{"swappedBodies", swapBodies}, Variant{"indexFirst", indexFirst},
                    Variant{"foreignTriplets",
                            [](MXFFile& file) {
                                auto foreign = test::darkTriplet(40);
                                foreign.key = {0x80, 0x53, 0x08, 0x00, 0x36, 0x21, 0x08, 0x04};
                                auto& all = file.triplets;
                                const auto primer = std::ranges::find_if(
                                    all, [](const MXFTriplet& other) { return other.isPrimer(); });
                                all.insert(all.insert(primer + 1, foreign), test::darkTriplet(100'000));
                                const auto body = std::ranges::find_if(
                                    all, [](const MXFTriplet& other) { return other.isBody(); });
                                all.insert(body + 2, test::darkTriplet(0));
                            }},
                    Variant{"wrongRandomIndex",
                            [](MXFFile& file) {
                                MXFTriplet& pack = file.triplets.back();
                                ASSERT_TRUE(pack.isRandomIndex());
                                // No longer a triplet of its own kind to the editor, which would correct it.
                                pack.key[8] = 0x0e;
                                file.closing = [](Bytes& bytes) {
                                    const std::size_t length = test::number(bytes, bytes.size() - 4, 4);
                                    const std::size_t start = bytes.size() - length;
                                    bytes.at(start + 8) = 0x0d;
                                    for (std::size_t at = start + 17; at + 16 <= bytes.size(); at += 12)
                                        test::setNumber(bytes, at + 4, 8,
                                                        test::number(bytes, at + 4, 8) / 2 + 11);
                                };
                            }}),
    [](const auto& instance) { return instance.param.name; });

TEST(MXFCutOff, WholeFramesAreKeptWhereverTheFileEnds) {
    const Bytes whole = test::readFile(original().path);
    const MXFFile file(whole);
    // Where the content packages end: at the next system pack, or before the fill and pack of a partition.
    std::vector<std::size_t> ends;
    std::size_t at = 0, sounds = 0;
    for (const MXFTriplet& triplet : file.triplets) {
        at += 16 + triplet.lengthBytes + triplet.value.size();
        if (triplet.isEssence() && triplet.key[12] == 0x16 && ++sounds % 3 == 0)
            ends.push_back(at);
    }
    ASSERT_EQ(ends.size(), static_cast<std::size_t>(original().duration.value / 1001));
    for (std::size_t share = 1; share <= 24; ++share) {
        const std::size_t length = whole.size() * share / 25 + share * 97;
        const auto frames = static_cast<std::int64_t>(std::ranges::upper_bound(ends, length) - ends.begin());
        SCOPED_TRACE(length);
        const media::Asset asset(
            sourceOf(Bytes(whole.begin(), whole.begin() + static_cast<std::ptrdiff_t>(length))));
        EXPECT_EQ(asset.duration(), (media::Time{frames * 1001, 30000}));
        for (std::size_t i = 0; i < 3; ++i) {
            const auto pcm = test::soundOf(asset, asset.tracks(MediaType::audio)[i]);
            EXPECT_NEAR(static_cast<double>(pcm.size()) / 4, static_cast<double>(frames) * 1601.6, 1);
            ASSERT_LE(pcm.size(), original().sound[i].size());
            EXPECT_TRUE(std::equal(pcm.begin(), pcm.end(), original().sound[i].begin()));
        }
        EXPECT_EQ(asset.tracks(MediaType::timecode).front().get().end(), asset.duration());
    }
}

TEST(MXFCutOff, ClipWrappedSoundEndsWithTheFile) {
    test::ClipDescription description;
    description.container = test::Container::mxfOpAtom;
    description.picture = false;
    const auto path = test::clip(description);
    const auto pcm = test::decodeTrack(path, 0);
    Bytes bytes = test::readFile(path);
    bytes.resize(bytes.size() / 2);
    const media::Asset asset(sourceOf(bytes));
    const auto part = test::soundOf(asset, asset.tracks(MediaType::audio).front());
    EXPECT_NEAR(asset.duration().seconds(), static_cast<double>(part.size()) / 4 / 48'000, 0.0005);
    EXPECT_GT(part.size(), pcm.size() / 3);
    EXPECT_TRUE(std::equal(part.begin(), part.end(), pcm.begin()));
}

/// A two-second OP1a clip with one 16-bit track, edited.
media::Asset edited(const std::string& rate, const std::function<void(MXFFile&)>& edit) {
    test::ClipDescription description;
    description.container = test::Container::mxf;
    description.rate = rate;
    description.timecode = "01:00:00:00";
    description.sound.assign(1, {.codec = "pcm_s16le"});
    MXFFile file(test::clip(description));
    edit(file);
    return media::Asset(sourceOf(file.bytes()));
}

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

constexpr std::uint8_t aes3Set = 0x47;

TEST(MXFSound, FormatsComeFromTheDescriptor) {
    // The same bytes under another description: big-endian, 20 bits in 24, A-law.
    const Bytes aiff{0x06, 0x0e, 0x2b, 0x34, 4, 1, 1, 1, 4, 2, 2, 1, 0x7e, 0, 0, 0};
    const auto describe = [&](const std::function<void(MXFTriplet&)>& edit) {
        const auto asset = edited("25", [&](MXFFile& file) {
            for (MXFTriplet& triplet : file.triplets)
                if (triplet.isSet(aes3Set))
                    edit(triplet);
        });
        const media::Track& track = asset.tracks(MediaType::audio).front();
        return *track.formatDescriptions.front().audio;
    };
    const auto addCompression = [](MXFTriplet& triplet, const Bytes& label) {
        triplet.value.insert(triplet.value.end(), {0x3d, 0x06, 0, 16});
        triplet.value.insert(triplet.value.end(), label.begin(), label.end());
    };
    const auto bigEndian = describe([&](MXFTriplet& other) { addCompression(other, aiff); });
    EXPECT_EQ(bigEndian.formatFlags,
              media::pcmFlag::signedInteger | media::pcmFlag::packed | media::pcmFlag::bigEndian);
    const auto twenty = describe([](MXFTriplet& other) {
        other.set(0x3d01, 20);
        other.set(0x3d0a, 3);
    });
    EXPECT_EQ(twenty.bitsPerChannel, 20U);
    EXPECT_EQ(twenty.bytesPerFrame, 3U);
    EXPECT_EQ(twenty.formatFlags, media::pcmFlag::signedInteger | media::pcmFlag::alignedHigh);
    const auto withoutAlignment = describe([](MXFTriplet& other) { other.set(0x3d0a, 0); });
    EXPECT_EQ(withoutAlignment.bytesPerFrame, 2U);
}

TEST(MXFSound, WhatCannotBeDecodedSaysWhy) {
    const auto reason = [](const std::function<void(MXFFile&)>& edit) {
        const auto asset = edited("25", edit);
        const media::Track& track = asset.tracks(MediaType::audio).front();
        EXPECT_THROW(media::TrackOutput(asset, track, 16), media::Error);
        return track.formatDescriptions.front().unreadable;
    };
    const auto compression = [](std::uint8_t last) {
        return [last](MXFFile& file) {
            for (MXFTriplet& triplet : file.triplets)
                if (triplet.isSet(aes3Set))
                    triplet.value.insert(
                        triplet.value.end(),
                        {0x3d, 0x06, 0, 16, 0x06, 0x0e, 0x2b, 0x34, 4, 1, 1, 1, 4, 2, 2, 2, 3, 2, last, 0});
        };
    };
    EXPECT_EQ(reason(compression(0x1c)), "The clip's sound is Dolby E, which can't be decoded.");
    EXPECT_EQ(reason([](MXFFile& file) { // a version file: its packages say that the essence is elsewhere
                  file.remove([](const MXFTriplet& other) {
                      return other.isSet(0x23) || other.isEssence() || other.isIndex();
                  });
                  MXFTriplet storage;
                  for (MXFTriplet& triplet : file.triplets)
                      if (triplet.isSet(0x18))
                          storage = triplet;
                  // Another essence container than that of any package.
                  MXFTriplet data = storage;
                  data.key[14] = 0x23;
                  data.value = Bytes(storage.value.begin(), storage.value.begin() + 20);
                  data.value[19] ^= 1;
                  data.value.insert(data.value.end(), {0x3f, 0x07, 0, 4, 0, 0, 0, 9});
                  file.triplets.insert(
                      std::ranges::find_if(file.triplets,
                                           [](const MXFTriplet& other) { return other.isSet(0x18); }),
                      data);
              }),
              "The clip's sound is kept in other files.");
    EXPECT_EQ(reason([](MXFFile& file) {
                  for (MXFTriplet& triplet : file.triplets)
                      if (triplet.isSet(aes3Set))
                          triplet.setBytes(
                              0x3004, {0x06, 0x0e, 0x2b, 0x34, 4, 1, 1, 7, 0x0d, 1, 3, 1, 2, 0x0b, 1, 0});
              }),
              "The clip's sound is encrypted.");
}

TEST(MXFSound, ChannelsOfD10MarkedInvalidAreSilent) {
    test::ClipDescription description;
    description.container = test::Container::mxfD10;
    description.timecode.reset();
    description.sound.assign(1, {.codec = "pcm_s16le", .channels = 4});
    const auto path = test::clip(description);
    MXFFile file(path);
    for (MXFTriplet& triplet : file.triplets)
        if (triplet.isEssence() && triplet.key[12] == 0x06)
            triplet.value.at(3) = 0x0b;
    const media::Asset asset(sourceOf(file.bytes()));
    const auto pcm = test::soundOf(asset, asset.tracks(MediaType::audio).front());
    auto expected = test::decodeTrack(path, 0);
    for (std::size_t at = 2 * 4; at < expected.size(); at += 16)
        std::fill_n(expected.begin() + static_cast<std::ptrdiff_t>(at), 4, std::byte{0});
    EXPECT_TRUE(pcm == expected);
}

TEST(MXFSound, AMissingElementLeavesTheRestInStep) {
    MXFFile file(original().path);
    std::size_t sounds = 0;
    std::erase_if(file.triplets, [&](const MXFTriplet& triplet) {
        return triplet.isEssence() && triplet.key[12] == 0x16 && ++sounds == 3 * 100 + 2;
    });
    withoutIndex(file);
    const media::Asset asset(sourceOf(file.bytes()));
    auto expected = original().sound[1];
    std::fill_n(expected.begin() + 160'160 * 4, 1602 * 4, std::byte{0});
    EXPECT_TRUE(test::soundOf(asset, asset.tracks(MediaType::audio)[1]) == expected);
    EXPECT_TRUE(test::soundOf(asset, asset.tracks(MediaType::audio)[2]) == original().sound[2]);
}

} // namespace
