// SPDX-License-Identifier: GPL-3.0-or-later
// Lanes that read side by side: the right bytes for each, few reads, and nothing of the picture.
#include <atomic>
#include <thread>

#include <gtest/gtest.h>

#include "media/base/error.h"
#include "media/open.h"
#include "tests/support/movie_builder.h"

namespace {

using media::StoredSamples;
using test::Bytes;

constexpr std::byte picture{0xEE};

/// Counts reads, refuses the picture's bytes, and fails at one place as a damaged card does.
class WatchedSource final : public media::io::ByteSource {
  public:
    explicit WatchedSource(Bytes bytes) : bytes_(std::move(bytes)) {}
    [[nodiscard]] std::uint64_t size() const noexcept override { return bytes_.size(); }

    mutable std::atomic<int> reads = 0;
    mutable std::atomic<bool> sawPicture = false;
    std::uint64_t damaged = ~std::uint64_t{0};

  protected:
    void read(std::uint64_t offset, std::span<std::byte> out) const override {
        ++reads;
        if (offset <= damaged && damaged < offset + out.size())
            throw std::system_error(EIO, std::generic_category());
        std::copy_n(bytes_.begin() + static_cast<std::ptrdiff_t>(offset), out.size(), out.begin());
        if (std::search_n(out.begin(), out.end(), 64, picture) != out.end())
            sawPicture = true;
    }

  private:
    Bytes bytes_;
};

/// Tracks of 16-bit sound whose chunks lie together between the pictures, and what each track holds.
struct Card {
    std::vector<Bytes> sound;
    std::shared_ptr<WatchedSource> source;
    std::uint64_t soundBytes = 0;
    std::uint64_t lastSound = 0; ///< where the last pictures end and the last chunks begin

    Card(std::size_t tracks, std::size_t chunks, std::uint32_t framesPerChunk, std::size_t padding = 0)
        : sound(tracks) {
        test::Movie movie = test::rampMovie({framesPerChunk});
        movie.data.clear();
        movie.tracks.resize(tracks, movie.tracks.front());
        for (std::size_t track = 0; track < tracks; ++track) {
            movie.tracks[track].id = static_cast<std::uint32_t>(track + 1);
            movie.tracks[track].offsets.clear();
            movie.tracks[track].sampleCount = static_cast<std::uint32_t>(chunks) * framesPerChunk;
            movie.tracks[track].durations = {{movie.tracks[track].sampleCount, 1}};
            movie.tracks[track].chunks = {{1, framesPerChunk, 1}};
        }
        for (std::size_t chunk = 0; chunk < chunks; ++chunk) {
            movie.data.insert(movie.data.end(), 50'000, picture);
            for (std::size_t track = 0; track < tracks; ++track) {
                movie.tracks[track].offsets.push_back(movie.data.size());
                for (std::uint32_t i = 0; i < 2 * framesPerChunk; ++i)
                    sound[track].push_back(static_cast<std::byte>((chunk * 31 + track * 7 + i / 5) % 200));
                movie.data.insert(movie.data.end(), sound[track].end() - 2 * framesPerChunk,
                                  sound[track].end());
                movie.data.resize(movie.data.size() + padding);
            }
        }
        soundBytes = tracks * chunks * framesPerChunk * 2;
        Bytes file = build(movie);
        lastSound =
            static_cast<std::uint64_t>(std::find(file.rbegin(), file.rend(), picture).base() - file.begin());
        source = std::make_shared<WatchedSource>(std::move(file));
    }
};

Bytes rest(media::TrackReader& reader) {
    Bytes bytes;
    for (StoredSamples run; reader.next(run);)
        bytes.insert(bytes.end(), run.data.begin(), run.data.end());
    return bytes;
}

TEST(SharedChunks, AreReadOnceForAllLanes) {
    constexpr std::size_t tracks = 8;
    constexpr std::size_t chunks = 400; // eight seconds
    for (const std::size_t padding : {0U, 16U}) {
        Card card(tracks, chunks, 960, padding);
        const auto container = media::openContainer(card.source);
        const std::uint64_t header = card.source->bytesRead();
        card.source->reads = 0;
        std::vector<std::unique_ptr<media::TrackReader>> readers;
        for (std::size_t track = 0; track < tracks; ++track)
            readers.push_back(container->reader(track));
        std::vector<Bytes> found(tracks);
        StoredSamples run;
        for (bool more = true; more;) {
            more = false;
            for (std::size_t track = 0; track < tracks; ++track)
                if (readers[track]->next(run)) {
                    found[track].insert(found[track].end(), run.data.begin(), run.data.end());
                    more = true;
                }
        }
        EXPECT_EQ(found, card.sound);
        EXPECT_FALSE(card.source->sawPicture);
        EXPECT_LE(card.source->reads, static_cast<int>(chunks + chunks / 4)); // some for the tables
        EXPECT_LE(card.source->bytesRead() - header, card.soundBytes * 102 / 100 + 2 * header);
    }
}

TEST(SharedChunks, SuitLanesThatRunAheadAndJump) {
    Card card(3, 600, 960);
    const auto container = media::openContainer(card.source);
    std::vector<Bytes> found(3);
    {
        std::vector<std::jthread> lanes;
        for (std::size_t track = 0; track < 3; ++track)
            lanes.emplace_back([&, track, reader = std::shared_ptr(container->reader(track))] {
                if (track == 2) // as an edit list may have it
                    reader->seek(960 * 500);
                found[track] = rest(*reader);
                if (track == 2) {
                    reader->seek(0);
                    found[track] = rest(*reader);
                }
            });
    }
    EXPECT_EQ(found, card.sound);
    EXPECT_FALSE(card.source->sawPicture);
}

TEST(SharedChunks, LeaveLargeChunksAndLoneTracksAlone) {
    for (const bool lone : {false, true}) {
        Card card(2, 20, lone ? 960 : 48'000);
        const auto container = media::openContainer(card.source);
        const auto first = container->reader(0);
        const auto second = lone ? nullptr : container->reader(1);
        const std::uint64_t before = card.source->bytesRead();
        EXPECT_EQ(rest(*first), card.sound[0]);
        if (second) {
            EXPECT_EQ(rest(*second), card.sound[1]);
        }
        EXPECT_LE(card.source->bytesRead() - before, card.soundBytes / (lone ? 2 : 1) + 2'000);
    }
}

TEST(SharedChunks, DamageFailsOnlyTheLaneWhoseSoundItHit) {
    Card card(2, 50, 960);
    const auto container = media::openContainer(card.source);
    card.source->damaged = card.lastSound + 10; // the first track's
    const auto first = container->reader(0);
    const auto second = container->reader(1);
    EXPECT_THROW(rest(*first), media::Error);
    EXPECT_EQ(rest(*second), card.sound[1]);
}

} // namespace
