// SPDX-License-Identifier: GPL-3.0-or-later
// Clips that cameras and recorders write and ffmpeg does not, edited from clips that it does: whatever the
// file's shape, the same sound, the same timecode, the same length.
#include <algorithm>
#include <functional>

#include <gtest/gtest.h>

#include "tests/media/mxf/mxf_reading.h"
#include "tests/support/clip_maker.h"
#include "tests/support/mxf_editor.h"
#include "tests/support/probe.h"

namespace {

using media::MediaType;
using test::Bytes;
using test::MXFFile;
using test::MXFTriplet;
using test::sourceOf;

constexpr std::uint64_t unknown = UINT64_MAX;
constexpr std::uint8_t sequenceSet = 0x0f, sourceClipSet = 0x11, timecodeSet = 0x14;

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

TEST(MXFDamagedFiles, AMissingElementLeavesTheRestInStep) {
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
