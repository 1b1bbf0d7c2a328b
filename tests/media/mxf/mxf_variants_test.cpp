// SPDX-License-Identifier: GPL-3.0-or-later
// Clips that cameras and recorders write and ffmpeg does not, edited from clips that it does: whatever the
// file's shape, the same sound, the same timecode, the same length.
#include <algorithm>
#include <functional>

#include <gtest/gtest.h>

#include "media/open.h"
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
        clip.sound = test::decodeTracks(clip.path);
        clip.duration = media::openAsset(clip.path).duration();
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
    EXPECT_TRUE(timecode.front().get().formatDescriptions.front().timecode->dropFrame);
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
        for (const std::uint8_t set : Bytes{0x0f, 0x11, 0x14}) // sequence, source clip, timecode
            if (inHeader && triplet.isSet(set))
                triplet.set(0x0202, unknown);
    }
}

/// Gives the footer the header's copy of the metadata.
void metadataInFooter(MXFFile& file) {
    std::vector<MXFTriplet> metadata;
    std::ranges::copy_if(file.triplets, std::back_inserter(metadata), &MXFTriplet::isMetadata);
    file.triplets.insert(file.first(&MXFTriplet::isFooter) + 1, metadata.begin(), metadata.end());
}

void openHeaderMetadataInFooter(MXFFile& file) {
    metadataInFooter(file);
    openHeader(file);
}

void metadataInFooterOnly(MXFFile& file) {
    openHeaderMetadataInFooter(file);
    file.triplets.erase(file.triplets.begin() + 1, file.first(&MXFTriplet::isBody));
}

void withoutIndex(MXFFile& file) {
    file.remove(&MXFTriplet::isIndex);
    for (MXFTriplet& triplet : file.triplets)
        if (triplet.isPartition())
            test::setNumber(triplet.value, 48, 4, 0);
}

void withoutRandomIndex(MXFFile& file) {
    file.remove(&MXFTriplet::isRandomIndex);
}

/// The second and the third partition change places.
void swapBodies(MXFFile& file) {
    auto& all = file.triplets;
    const auto second = file.first(&MXFTriplet::isBody);
    const auto third = std::find_if(second + 1, all.end(), std::mem_fn(&MXFTriplet::isPartition));
    std::rotate(second, third, std::find_if(third + 1, all.end(), std::mem_fn(&MXFTriplet::isPartition)));
}

/// All index segments in one partition before all essence.
void indexFirst(MXFFile& file) {
    std::vector<MXFTriplet> moved{*file.first(&MXFTriplet::isFooter)};
    std::ranges::copy_if(file.triplets, std::back_inserter(moved), &MXFTriplet::isIndex);
    moved.front().key[13] = 3;
    withoutIndex(file);
    test::setNumber(moved.front().value, 48, 4, 2);
    file.triplets.insert(file.first(&MXFTriplet::isBody), moved.begin(), moved.end());
}

void foreignTriplets(MXFFile& file) {
    auto foreign = test::darkTriplet(40);
    foreign.key = {0x80, 0x53, 0x08, 0x00, 0x36, 0x21, 0x08, 0x04};
    const auto place = file.triplets.insert(file.first(&MXFTriplet::isPrimer) + 1, foreign);
    file.triplets.insert(place, test::darkTriplet(100'000));
    file.triplets.insert(file.first(&MXFTriplet::isBody) + 2, test::darkTriplet(0));
}

void wrongRandomIndex(MXFFile& file) {
    ASSERT_TRUE(file.triplets.back().isRandomIndex());
    // No longer a triplet of its own kind to the editor, which would correct it.
    file.triplets.back().key[8] = 0x0e;
    file.closing = [](Bytes& bytes) {
        const std::size_t start = bytes.size() - test::number(bytes, bytes.size() - 4, 4);
        bytes.at(start + 8) = 0x0d;
        for (std::size_t at = start + 17; at + 16 <= bytes.size(); at += 12)
            test::setNumber(bytes, at + 4, 8, test::number(bytes, at + 4, 8) / 2 + 11);
    };
}

void withoutPlaces(MXFFile& file) {
    for (MXFTriplet& triplet : file.triplets)
        if (triplet.isIndex())
            triplet.put(0x3f09, test::references({}));
}

/// From the second segment on, the index leads back to the beginning.
void brokenIndex(MXFFile& file) {
    for (MXFTriplet& triplet : file.triplets) {
        const std::size_t array = triplet.isIndex() ? triplet.property(0x3f0a) : 0;
        if (array == 0 || test::number(triplet.value, triplet.property(0x3f0c), 8) == 0)
            continue;
        for (std::size_t i = 0; i < test::number(triplet.value, array, 4); ++i)
            test::setNumber(triplet.value, array + 8 + 15 * i + 3, 8, 0);
    }
}

/// Data definitions of the older object model (AAF), essence under an editor's own keys.
void editorsLabels(MXFFile& file) {
    const std::array<Bytes, 4> definitions{
        {{},
         {0x80, 0x7f, 0, 0x60, 8, 0x14, 0x3e, 0x6f, 0x7f, 0x27, 0x5e, 0x81, 0x77, 0xe5, 0x11, 0xd2},
         {0x80, 0x7d, 0, 0x60, 8, 0x14, 0x3e, 0x6f, 0x6f, 0x3c, 0x8c, 0xe1, 0x6c, 0xef, 0x11, 0xd2},
         {0x80, 0x7d, 0, 0x60, 8, 0x14, 0x3e, 0x6f, 0x78, 0xe1, 0xeb, 0xe1, 0x6c, 0xef, 0x11, 0xd2}}};
    for (const std::uint8_t kind : Bytes{0x0f, 0x11, 0x14})
        for (MXFTriplet* set : file.sets(kind)) {
            const Bytes own = set->bytesOf(0x0201); // 01: timecode; 02 with 01: picture, with 02: sound
            set->put(0x0201, definitions.at(own[11] == 1 ? 1 : 1 + own[12]));
        }
    for (MXFTriplet& triplet : file.triplets)
        if (triplet.isEssence() && triplet.key[4] == 1)
            std::ranges::copy(Bytes{0x0e, 4, 3, 1}, triplet.key.begin() + 8);
}

TEST(MXFVariants, KeepSoundTimecodeAndLength) {
    using Edits = std::vector<std::function<void(MXFFile&)>>;
    const std::vector<std::pair<const char*, Edits>> variants{
        {"unchanged", {}},
        {"without index", {withoutIndex}},
        {"without random index", {withoutRandomIndex}},
        {"without either", {withoutIndex, withoutRandomIndex}},
        {"open header, metadata in the footer", {openHeaderMetadataInFooter}},
        {"metadata in the footer only", {metadataInFooterOnly}},
        {"open header without random index", {openHeaderMetadataInFooter, withoutRandomIndex}},
        {"lengths nowhere", {openHeader}},
        {"lengths nowhere, without index", {openHeader, withoutIndex}},
        {"run-in", {[](MXFFile& file) { file.runIn.assign(3'001, 0x06); }}},
        {"long lengths", {[](MXFFile& file) { file.setLengthBytes(9); }}},
        {"swapped bodies", {swapBodies}},
        {"index first", {indexFirst}},
        {"foreign triplets", {foreignTriplets}},
        {"wrong random index", {wrongRandomIndex}},
        {"an index without places", {withoutPlaces}},
        {"an index that breaks off", {brokenIndex}},
        {"an index without places that breaks off", {withoutPlaces, brokenIndex}},
        {"an editor's labels", {editorsLabels}},
        {"an index that ends early", {[](MXFFile& file) {
             std::erase_if(file.triplets, [isFirst = true](const MXFTriplet& triplet) mutable {
                 return triplet.isIndex() && !std::exchange(isFirst, false);
             });
         }}},
    };
    for (const auto& [name, edits] : variants) {
        SCOPED_TRACE(name);
        MXFFile file(original().path);
        for (const auto& edit : edits)
            edit(file);
        expectSameClip(media::openAsset(sourceOf(file.bytes())));
    }
}

/// The first bytes of a file, whose header says that the recording goes on.
Bytes unfinished(const Bytes& whole, std::size_t length) {
    Bytes bytes(whole.begin(), whole.begin() + static_cast<std::ptrdiff_t>(length));
    constexpr std::uint8_t openComplete = 3;
    bytes.at(14) = openComplete;
    return bytes;
}

/// Files that state what they no longer hold.
void expectTooEarly(const Bytes& whole, std::size_t length) {
    try {
        (void)media::openAsset(
            sourceOf(Bytes(whole.begin(), whole.begin() + static_cast<std::ptrdiff_t>(length))));
        ADD_FAILURE() << "nothing said of a file cut off at " << length;
    } catch (const media::Error& error) {
        EXPECT_EQ(error.category(), media::Error::Category::endOfData);
        EXPECT_STREQ(error.what(), "The file ends too early.");
    }
}

TEST(MXFCutOff, WholeFramesOfARecordingAreKeptWhereverTheFileEnds) {
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
        expectTooEarly(whole, length);
        const media::Asset asset = media::openAsset(sourceOf(unfinished(whole, length)));
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
    const auto path = test::clip({.container = test::Container::mxfOpAtom, .picture = false});
    const auto pcm = test::decodeTrack(path, 0);
    const Bytes bytes = test::readFile(path);
    expectTooEarly(bytes, bytes.size() / 2);
    const media::Asset asset = media::openAsset(sourceOf(unfinished(bytes, bytes.size() / 2)));
    const auto part = test::soundOf(asset, asset.tracks(MediaType::audio).front());
    EXPECT_NEAR(asset.duration().seconds(), static_cast<double>(part.size()) / 4 / 48'000, 0.0005);
    EXPECT_GT(part.size(), pcm.size() / 3);
    EXPECT_TRUE(std::equal(part.begin(), part.end(), pcm.begin()));
}

TEST(MXFDamagedFiles, AMissingElementLeavesTheRestInStep) {
    for (const std::ptrdiff_t missing : {0, 1, 300, 301, 302}) { // of all sound elements, three a package
        auto expected = original().sound;
        std::fill_n(expected[static_cast<std::size_t>(missing % 3)].begin() + missing / 3 * 8008 / 5 * 4,
                    1602 * 4, std::byte{0});
        for (const auto& edit : {withoutIndex, withoutPlaces, +[](MXFFile&) {}}) {
            MXFFile file(original().path);
            for (std::ptrdiff_t sounds = 0; MXFTriplet & triplet : file.triplets)
                if (triplet.isEssence() && triplet.key[12] == 0x16 && sounds++ == missing)
                    triplet.key = test::darkTriplet(0).key;
            edit(file);
            const media::Asset asset = media::openAsset(sourceOf(file.bytes()));
            for (std::size_t i = 0; i < 3; ++i)
                EXPECT_TRUE(test::soundOf(asset, asset.tracks(MediaType::audio)[i]) == expected[i])
                    << "track " << i << " without element " << missing;
        }
    }
}

TEST(MXFCutOff, PicturesWithoutSoundEndWithTheFile) {
    for (const auto& [container, least] :
         {std::pair(test::Container::mxf, 0.3), std::pair(test::Container::mxfOpAtom, 0.3)}) {
        const Bytes bytes = test::readFile(test::clip({.container = container, .sound = {}}));
        expectTooEarly(bytes, bytes.size() / 2);
        const media::Asset asset = media::openAsset(sourceOf(unfinished(bytes, bytes.size() / 2)));
        EXPECT_GT(asset.duration().seconds(), least);
        EXPECT_LT(asset.duration().seconds(), 1.5);
        EXPECT_EQ(asset.tracks(MediaType::timecode).front().get().end(), asset.duration());
    }
}

} // namespace
