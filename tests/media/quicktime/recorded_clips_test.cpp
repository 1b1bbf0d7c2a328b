// SPDX-License-Identifier: GPL-3.0-or-later
// Clips made by ffmpeg: every sample as another reader finds it, and no byte read that isn't needed.
#include <algorithm>

#include <gtest/gtest.h>

#include "media/open.h"
#include "tests/support/clip_maker.h"
#include "tests/support/command.h"

namespace {

using media::MediaType;
using media::StoredSamples;
using media::Time;
using test::ClipDescription;
using test::SoundDescription;

/// A sound track's samples back to back, as ffmpeg copies them.
std::string packets(const std::filesystem::path& clip, std::size_t track) {
    return test::runChecked({"ffmpeg", "-nostdin", "-v", "error", "-ignore_editlist", "1", "-i",
                             clip.string(), "-map", "0:a:" + std::to_string(track), "-c", "copy", "-f",
                             "data", "-"});
}

std::string stored(const media::Container& container, const media::Track& track) {
    std::string bytes;
    StoredSamples run;
    const auto reader = container.reader(track.index);
    while (reader->next(run))
        for (const std::byte byte : run.data)
            bytes.push_back(static_cast<char>(byte));
    return bytes;
}

std::vector<SoundDescription> sound(const std::vector<std::string>& codecs) {
    std::vector<SoundDescription> tracks(codecs.size());
    for (std::size_t i = 0; i < codecs.size(); ++i)
        tracks[i].codec = codecs[i];
    return tracks;
}

TEST(RecordedClips, SamplesAreWhatOtherReadersFind) {
    std::vector<ClipDescription> clips(6);
    clips[0].sound = sound({"pcm_s16le", "pcm_s24le", "pcm_s32be", "pcm_f32le", "pcm_u8", "pcm_f64be"});
    clips[1].sound = sound({"aac", "alac", "adpcm_ima_qt", "pcm_alaw", "pcm_mulaw", "ac3"});
    clips[2].container = test::Container::mp4;
    clips[2].moovFirst = true;
    clips[2].sound = sound({"aac", "alac", "libopus", "flac", "eac3", "libmp3lame"});
    clips[3].container = test::Container::mp4;
    clips[3].fragmented = true;
    clips[3].sound = sound({"aac", "alac"});
    clips[4].fragmented = true;
    clips[4].sound = sound({"pcm_s24le", "aac"});
    clips[5].muxerOptions = {"-movflags", "+frag_keyframe"}; // the header holds the first fragment's samples
    clips[5].sound = sound({"pcm_s16le", "aac"});
    for (const ClipDescription& description : clips) {
        const std::filesystem::path path = test::clip(description);
        SCOPED_TRACE(path);
        const auto source = media::io::openFile(path);
        const auto container = media::openContainer(source);
        const std::uint64_t header = source->bytesRead();
        std::size_t soundTracks = 0;
        std::uint64_t soundBytes = 0;
        for (const media::Track& track : container->tracks()) {
            if (track.mediaType == MediaType::timecode) {
                EXPECT_EQ(stored(*container, track), std::string("\0\1\x5F\x90", 4)); // 01:00:00:00 at 25
            }
            if (track.mediaType != MediaType::audio)
                continue;
            const std::string found = stored(*container, track);
            EXPECT_EQ(found, packets(path, soundTracks)) << description.sound[soundTracks].codec;
            EXPECT_FALSE(found.empty());
            soundBytes += found.size();
            ++soundTracks;
            EXPECT_GE(track.end(), (Time{2, 1}));
            EXPECT_LT(track.end(), (Time{21, 10}));
        }
        EXPECT_EQ(soundTracks, description.sound.size());
        EXPECT_GE(container->duration(), (Time{2, 1}));
        EXPECT_LT(header, std::uint64_t{12} * 1024);
        // A fragment's tables are read once more on the way.
        EXPECT_LE(source->bytesRead(), soundBytes + 2 * header);
    }
}

} // namespace
