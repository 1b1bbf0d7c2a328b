// SPDX-License-Identifier: GPL-3.0-or-later
// Sound formats as MXF descriptors state them, and what can not be read.
#include <algorithm>
#include <cstring>

#include <gtest/gtest.h>

#include "media/open.h"
#include "tests/media/mxf/mxf_reading.h"
#include "tests/support/clip_maker.h"
#include "tests/support/command.h"
#include "tests/support/probe.h"
#include "tests/support/temporary_folder.h"

namespace {

using media::MediaType;
using test::Bytes;
using test::edited;
using test::MXFFile;
using test::MXFTriplet;

constexpr std::uint8_t aes3Set = 0x47;

TEST(MXFSound, FormatsComeFromTheDescriptor) {
    // The same bytes under another description: big-endian, 20 bits in 24, A-law.
    const Bytes aiff{0x06, 0x0e, 0x2b, 0x34, 4, 1, 1, 1, 4, 2, 2, 1, 0x7e, 0, 0, 0};
    const auto describe = [&](const std::function<void(MXFTriplet&)>& edit) {
        const auto asset = edited("25", [&](MXFFile& file) {
            for (MXFTriplet* set : file.sets(aes3Set))
                edit(*set);
        });
        const media::Track track = asset.tracks(MediaType::audio).front();
        return *track.formatDescriptions.front().audio;
    };
    const auto bigEndian = describe([&](MXFTriplet& other) { other.put(0x3d06, aiff); });
    EXPECT_EQ(bigEndian.formatFlags,
              media::pcmFlag::signedInteger | media::pcmFlag::packed | media::pcmFlag::bigEndian);
    const Bytes uncompressed{0x06, 0x0e, 0x2b, 0x34, 4, 1, 1, 0x0a, 4, 2, 2, 1, 0x7f, 0, 0, 0};
    const auto plain = describe([&](MXFTriplet& other) { other.put(0x3d06, uncompressed); });
    EXPECT_EQ(plain.formatFlags, media::pcmFlag::signedInteger | media::pcmFlag::packed);
    EXPECT_EQ(plain.formatID, media::audioFormat::linearPCM);
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

TEST(MXFSound, DescriptorsThatNameNoTrackStandInTheTracksOrder) {
    const auto channels = [](std::uint64_t linked, std::ptrdiff_t fewer) {
        MXFFile file(
            test::clip({.container = test::Container::mxf, .sound = std::vector<test::SoundDescription>(3)}));
        file.setAll(aes3Set, 0x3006, linked);
        for (std::uint64_t i = 0; i < 3; ++i)
            file.sets(aes3Set)[i]->set(0x3d07, i + 1);
        for (; fewer > 0; --fewer)
            file.triplets.erase(file.triplets.begin() + (file.sets(aes3Set).back() - file.triplets.data()));
        std::vector<std::uint32_t> found;
        const media::Asset asset = media::openAsset(test::sourceOf(file.bytes()));
        for (const media::Track& track : asset.tracks(MediaType::audio))
            found.push_back(track.formatDescriptions.front().audio->channelsPerFrame);
        return found;
    };
    using Channels = std::vector<std::uint32_t>;
    EXPECT_EQ(channels(0, 0), (Channels{1, 2, 3}));
    EXPECT_EQ(channels(99, 0), (Channels{1, 2, 3}));
    EXPECT_EQ(channels(0, 1), (Channels{1, 2, 2}));
    EXPECT_EQ(channels(4, 0), (Channels{1, 1, 3})); // the second track's number
}

TEST(MXFSound, ALawIsDecoded) {
    // The bytes of a 16-bit clip, said to be A-law of twice the rate.
    Bytes samples;
    const auto asset = edited("25", [&](MXFFile& file) {
        for (MXFTriplet& triplet : file.triplets) {
            if (triplet.isEssence() && triplet.key[12] == 0x16)
                samples.insert(samples.end(), triplet.value.begin(), triplet.value.end());
            if (!triplet.isSet(aes3Set))
                continue;
            triplet.put(0x3004, {0x06, 0x0e, 0x2b, 0x34, 4, 1, 1, 3, 0x0d, 1, 3, 1, 2, 0x0a, 1, 0});
            triplet.set(0x3d03, std::uint64_t{96'000} << 32 | 1);
            triplet.set(0x3d01, 8);
            triplet.set(0x3d0a, 1);
        }
    });
    const media::Track track = asset.tracks(MediaType::audio).front();
    EXPECT_EQ(track.formatDescriptions.front().audio->formatID, media::audioFormat::aLaw);
    const test::TemporaryFolder folder;
    test::writeFile(folder / "samples", samples);
    const std::string decoded =
        test::runChecked({"ffmpeg", "-v", "error", "-f", "alaw", "-ar", "96000", "-ac", "1", "-i",
                          (folder / "samples").string(), "-f", "s32le", "-"});
    const auto pcm = test::soundOf(asset, track);
    ASSERT_EQ(pcm.size(), decoded.size());
    EXPECT_EQ(std::memcmp(pcm.data(), decoded.data(), pcm.size()), 0);
}

TEST(MXFSound, WhatCannotBeDecodedSaysWhy) {
    const auto reason = [](const std::function<void(MXFFile&)>& edit) {
        const auto asset = edited("25", edit);
        const media::Track track = asset.tracks(MediaType::audio).front();
        EXPECT_THROW(media::TrackOutput(asset, track, 16), media::Error);
        return track.formatDescriptions.front().unreadable;
    };
    const auto compression = [](std::uint8_t last) {
        return [last](MXFFile& file) {
            for (MXFTriplet* set : file.sets(aes3Set))
                set->put(0x3d06, {0x06, 0x0e, 0x2b, 0x34, 4, 1, 1, 1, 4, 2, 2, 2, 3, 2, last, 0});
        };
    };
    for (const auto& [last, name] :
         {std::pair(0x01, "AC-3"), std::pair(0x04, "MPEG audio"), std::pair(0x1c, "Dolby E"),
          std::pair(0x77, "of an unknown compression (0402020203027700)")})
        EXPECT_EQ(reason(compression(static_cast<std::uint8_t>(last))),
                  std::string("The clip's sound is ") + name + ", which can't be decoded.");
    EXPECT_EQ(reason([](MXFFile& file) { // a version file: its packages say that the essence is elsewhere
                  file.remove([](const MXFTriplet& other) {
                      return other.isSet(0x23) || other.isEssence() || other.isIndex();
                  });
                  // Another essence container than that of any package.
                  file.triplets.insert(file.first(&MXFTriplet::isPrimer) + 1,
                                       test::metadataSet(0x23, 1, {{0x3f07, {0, 0, 0, 9}}}));
              }),
              "The clip's sound is kept in other files.");
    EXPECT_EQ(reason([](MXFFile& file) {
                  for (MXFTriplet* set : file.sets(aes3Set))
                      set->put(0x3004, {0x06, 0x0e, 0x2b, 0x34, 4, 1, 1, 7, 0x0d, 1, 3, 1, 2, 0x0b, 1, 0});
              }),
              "The clip's sound is encrypted.");
}

/// Each in a partition of its own: two in one are content packages.
TEST(MXFSound, ClipWrappedSoundMayLieInTwoElements) {
    const auto path = test::clip({.container = test::Container::mxfOpAtom, .picture = false});
    for (const std::size_t start : {std::size_t{0}, std::size_t{50'000}}) { // frames left out
        MXFFile file(path);
        file.setAll(0x11, 0x1201, start);
        const auto first = file.first(&MXFTriplet::isEssence);
        MXFTriplet second = *first;
        constexpr std::size_t cut = 90'000;
        second.value.erase(second.value.begin(), second.value.begin() + cut);
        first->value.resize(cut);
        const MXFTriplet partition = *file.first(&MXFTriplet::isBody);
        file.triplets.insert(first + 1, {partition, second});
        const media::Asset asset = media::openAsset(test::sourceOf(file.bytes()));
        auto expected = test::decodeTrack(path, 0);
        expected.erase(expected.begin(), expected.begin() + static_cast<std::ptrdiff_t>(start * 4));
        EXPECT_TRUE(test::soundOf(asset, asset.tracks(MediaType::audio).front()) == expected);
    }
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
    const media::Asset asset = media::openAsset(test::sourceOf(file.bytes()));
    const auto pcm = test::soundOf(asset, asset.tracks(MediaType::audio).front());
    auto expected = test::decodeTrack(path, 0);
    for (std::size_t at = 2 * 4; at < expected.size(); at += 16)
        std::fill_n(expected.begin() + static_cast<std::ptrdiff_t>(at), 4, std::byte{0});
    EXPECT_TRUE(pcm == expected);
}

} // namespace
