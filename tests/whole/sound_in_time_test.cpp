// SPDX-License-Identifier: GPL-3.0-or-later
// A clip whose sound packets jump, packed by the built program: readers that do not descend from ffmpeg's
// decoders (libsndfile, FAAD) find every stretch of the sound at its stated time.
#include <fstream>

#include <gtest/gtest.h>

#include "tests/support/movie_boxes.h"
#include "tests/support/probe.h"
#include "tests/support/timed_movie.h"
#include "tests/whole/program.h"

namespace {

using Samples = std::vector<float>;

Samples samplesOf(const test::Bytes& pcm) { // of 16 bits
    Samples samples;
    for (std::size_t i = 0; i + 1 < pcm.size(); i += 2)
        samples.push_back(static_cast<std::int16_t>(std::to_integer<unsigned>(pcm[i]) |
                                                    std::to_integer<unsigned>(pcm[i + 1]) << 8));
    return samples;
}

TEST(SoundInTime, OtherReadersHearItThere) {
    constexpr std::size_t packets = 56;
    test::TimedMovie movie = test::regularMovie("mp4a", 48'000, 1, 48'000, packets, true);
    movie.timecodePictures = 90;
    constexpr std::size_t stretched = 0, gap = 12, overlap = 24, late = 36;
    std::int64_t time = 0;
    std::vector<std::size_t> stretches; // frames at which sound goes on elsewhere
    Samples expected;
    for (std::size_t i = 0; i < movie.packets.size(); ++i) {
        test::TimedPacket& packet = movie.packets[i];
        time += i == late ? 4'321 : 0;
        packet.opensFragment = i % 12 == 0;
        packet.start = time;
        packet.duration += i == stretched ? 1'940 : i == gap ? 9'600 : i == overlap ? -512 : 0;
        time += packet.duration;
        expected.resize(static_cast<std::size_t>(packet.start)); // what overlaps gives way
        expected.insert(expected.end(), movie.pcm.begin() + packet.first,
                        movie.pcm.begin() + packet.first + packet.frames);
        if (i == 0 || i == stretched + 1 || i == gap + 1 || i == overlap + 1 || i == late)
            stretches.push_back(static_cast<std::size_t>(packet.start));
    }
    const test::TemporaryFolder folder;
    const test::Bytes file = movie.file();
    folder.write("CARD/A001.MP4", {reinterpret_cast<const char*>(file.data()), file.size()});
    const auto path = [&](const char* name) { return (folder / name).string(); };
    const auto heard = [&](const char* mode, const char* extracted, std::vector<std::string> reader) {
        const auto zip = folder / (std::string(mode) + ".zip");
        test::runChecked(test::ferrowick({"--pack", zip.string(), "--audio", mode, path("CARD")}));
        const test::OpenedPack pack(zip);
        std::filesystem::copy_file(pack.copy("CARD/A001"), folder / "copy.mov",
                                   std::filesystem::copy_options::overwrite_existing);
        test::runChecked({"ffmpeg", "-v", "error", "-y", "-ignore_editlist", "1", "-i", path("copy.mov"),
                          "-map", "0:a", "-c", "copy", path(extracted)});
        if (std::string_view(mode) == "lossless") { // CAF's description lacks the flag for 24 bits
            std::fstream caf(folder / extracted, std::ios::in | std::ios::out | std::ios::binary);
            caf.seekp(32).write("\0\0\0\3", 4);
        }
        test::runChecked(reader);
        return samplesOf(test::bytesAt(folder / "heard.raw", 0,
                                       static_cast<std::size_t>(file_size(folder / "heard.raw"))));
    };

    const Samples lossless =
        heard("lossless", "copy.caf", {"sndfile-convert", "-pcm16", path("copy.caf"), path("heard.raw")});
    ASSERT_EQ(test::Probe(folder / "copy.mov").stream(1, "codec_name"), "alac");
    ASSERT_GE(lossless.size(), expected.size());
    for (std::size_t i = 0; i < expected.size(); ++i)
        ASSERT_NEAR(lossless[i], expected[i], 1) << "frame " << i;

    const Samples pairs =
        heard("compressed", "copy.aac", {"faad", "-q", "-f", "2", "-o", path("heard.raw"), path("copy.aac")});
    Samples compressed; // FAAD hands out mono on two channels
    for (std::size_t i = 0; i < pairs.size(); i += 2)
        compressed.push_back(pairs[i]);
    EXPECT_TRUE(test::box(folder / "copy.mov", "moov/trak[1]/mdia/minf/stbl/sgpd")); // decode one packet more
    // FAAD delivers nothing for the first packets, and what comes before the edit is not shown.
    const auto edits = test::listedEdits(test::box(folder / "copy.mov", "moov/trak[1]/edts/elst").value());
    const auto shownFrom = static_cast<std::size_t>(edits.at(0).mediaTime);
    const std::size_t stored =
        std::size_t{1024} * std::stoul(test::Probe(folder / "copy.mov").stream(1, "nb_frames"));
    ASSERT_GE(stored, compressed.size());
    compressed.insert(compressed.begin(), stored - compressed.size(), 0);
    constexpr std::size_t window = 8'000;
    for (const std::size_t begin : stretches) {
        ASSERT_GE(compressed.size(), shownFrom + begin + window);
        EXPECT_EQ(test::lag(std::span(expected).subspan(begin, window),
                            std::span<const float>(compressed).subspan(shownFrom + begin, window)),
                  0)
            << "from frame " << begin;
    }
}

} // namespace
