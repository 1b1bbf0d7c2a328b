// SPDX-License-Identifier: GPL-3.0-or-later
// The order of a copy's channels in readers that have nothing in common.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "pack/copy_writer.h"
#include "tests/support/command.h"
#include "tests/support/movie_boxes.h"
#include "tests/support/probe.h"
#include "tests/support/temporary_folder.h"

namespace {

constexpr int rate = 48'000;
constexpr int hertzApart = 200; ///< channel k holds a tone of (k + 1) times as many

/// The number of the tone on each channel of interleaved 16-bit samples, counted over their second second.
std::vector<int> tonesOf(const std::vector<std::byte>& pcm, std::size_t channels) {
    const auto sample = [&](std::size_t frame, std::size_t channel) {
        const std::size_t at = 2 * (frame * channels + channel);
        return static_cast<std::int16_t>(std::to_integer<int>(pcm.at(at)) |
                                         std::to_integer<int>(pcm.at(at + 1)) << 8);
    };
    std::vector<int> tones;
    for (std::size_t channel = 0; channel < channels; ++channel) {
        int rises = 0;
        for (std::size_t frame = rate; frame < 2 * rate; ++frame)
            rises += sample(frame - 1, channel) < 0 && sample(frame, channel) >= 0 ? 1 : 0;
        tones.push_back((rises + hertzApart / 2) / hertzApart);
    }
    return tones;
}

std::vector<int> inOrder(int channels) {
    std::vector<int> tones;
    for (int tone = 1; tone <= channels; ++tone)
        tones.push_back(tone);
    return tones;
}

TEST(ChannelOrder, IsTheClipsInEveryReader) {
    struct Case {
        int channels;
        std::string losslessCodec;
        std::uint32_t losslessLayout; ///< tag of `chan`
        std::uint32_t channelMask;    ///< of `chan` beside AAC; 0: the layout by the number of channels
        bool isCompressed = true;
    };
    const std::vector<Case> cases = {
        {2, "alac", 0x650002, 0},          {3, "pcm_s16le", 0x930003, 0x103},
        {4, "pcm_s16le", 0x930004, 0x33},  {5, "pcm_s16le", 0x930005, 0x607},
        {6, "pcm_s16le", 0x930006, 0x137}, {7, "pcm_s16le", 0x930007, 0x637},
        {8, "pcm_s16le", 0x930008, 0x737}, {16, "pcm_s16le", 0x930010, 0, false}};
    const test::TemporaryFolder folder;
    const auto path = [&](const char* name) { return (folder / name).string(); };
    for (const Case& c : cases) {
        SCOPED_TRACE(std::to_string(c.channels) + " channels");
        std::string tones;
        for (int channel = 1; channel <= c.channels; ++channel)
            tones += (channel > 1 ? "|" : "") + std::string("0.2*sin(2*PI*t*") +
                     std::to_string(channel * hertzApart) + ")";
        const std::string layout = c.channels == 16  ? ":c=hexadecagonal"
                                   : c.channels == 2 ? ""
                                                     : ":c=" + std::to_string(c.channels) + "c";
        test::runChecked({"ffmpeg", "-v", "error", "-y", "-f", "lavfi", "-i", "testsrc=s=64x64:d=2:r=25",
                          "-f", "lavfi", "-i", "aevalsrc=" + tones + ":s=48000:d=2" + layout, "-c:v", "mjpeg",
                          "-c:a", "pcm_s16le", "-timecode", "01:00:00:00", path("clip.mov")});
        const PackClip clip{folder / "clip.mov", "clip", 1};
        const auto copy = folder / "copy.mov";
        const auto pack = [&](ScratchAudio mode) { return Pack::write({clip, copy, mode}); };
        const auto layoutOf = [&] { // tag and mask
            const auto entry = test::box(copy, "moov/trak[1]/mdia/minf/stbl/stsd").value();
            const auto chan =
                std::search(entry.begin(), entry.end(), std::begin("chan"), std::end("chan") - 1,
                            [](std::byte a, char b) { return a == static_cast<std::byte>(b); });
            const std::vector<std::byte> content(chan, entry.end());
            return test::numbers(content);
        };

        (void)pack(ScratchAudio::lossless);
        EXPECT_EQ(test::Probe(copy).stream(1, "codec_name"), c.losslessCodec);
        EXPECT_EQ(layoutOf().at(0), c.losslessLayout);
        EXPECT_EQ(test::decodeTrack(copy, 0, "s16le"), test::decodeTrack(clip.source, 0, "s16le"));
        const auto bytesOf = [](const std::filesystem::path& file) {
            return test::bytesAt(file, 0, std::filesystem::file_size(file));
        };
        if (c.channels > 2) {
            test::runChecked({"ffmpeg", "-v", "error", "-y", "-i", copy.string(), "-map", "0:a", "-c", "copy",
                              path("copy.caf")});
            test::runChecked({"sndfile-convert", "-pcm16", path("copy.caf"), path("sndfile.raw")});
            EXPECT_EQ(tonesOf(bytesOf(folder / "sndfile.raw"), static_cast<std::size_t>(c.channels)),
                      inOrder(c.channels));
        }

        const PackResult compressed = pack(ScratchAudio::compressed);
        EXPECT_EQ(tonesOf(test::decodeTrack(copy, 0, "s16le"), static_cast<std::size_t>(c.channels)),
                  inOrder(c.channels));
        if (!c.isCompressed) {
            EXPECT_THAT(compressed.notes, testing::ElementsAre("kept lossless"));
            continue;
        }
        EXPECT_THAT(compressed.notes, testing::IsEmpty());
        EXPECT_EQ(layoutOf().at(0), c.channelMask != 0 ? 0x10000 : c.losslessLayout);
        EXPECT_EQ(layoutOf().at(1), c.channelMask);
        test::runChecked({"ffmpeg", "-v", "error", "-y", "-i", copy.string(), "-map", "0:a", "-c", "copy",
                          path("copy.aac")});
        test::runChecked({"faad", "-q", "-f", "2", "-o", path("faad.raw"), path("copy.aac")});
        EXPECT_EQ(tonesOf(bytesOf(folder / "faad.raw"), static_cast<std::size_t>(c.channels)),
                  inOrder(c.channels));
    }
}

} // namespace
