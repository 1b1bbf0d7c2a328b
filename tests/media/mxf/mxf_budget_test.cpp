// SPDX-License-Identifier: GPL-3.0-or-later
// How few bytes of a long clip are read: at the probe, for all of its sound, with an index and without.
#include <algorithm>
#include <barrier>
#include <chrono>
#include <cstring>
#include <thread>

#include <gtest/gtest.h>

#include "media/mxf/mxf_container.h"
#include "tests/support/clip_maker.h"
#include "tests/support/mxf_editor.h"

namespace {

using media::MediaType;
using test::Bytes;
using test::MXFFile;
using test::MXFTriplet;

constexpr std::size_t grid = 512;
constexpr std::size_t tracks = 8;
constexpr std::size_t groupFrames = 12;

void append(Bytes& out, const Bytes& more) {
    out.insert(out.end(), more.begin(), more.end());
}

MXFTriplet fillTo(std::size_t position) {
    MXFTriplet fill;
    fill.key = {0x06, 0x0e, 0x2b, 0x34, 1, 1, 1, 2, 3, 1, 2, 0x10, 1, 0, 0, 0};
    fill.value.resize(grid - (position + 20) % grid);
    return fill;
}

Bytes bytesOf(const std::vector<MXFTriplet>& triplets) {
    MXFFile file{Bytes{}};
    file.triplets = triplets;
    return file.bytes();
}

/// A clip of 25 pictures a second at about 50 Mbit/s beside eight 24-bit tracks, as long as one likes: a head
/// and a tail in memory, between them one group of pictures again and again.
class LongClip final : public media::io::ByteSource {
  public:
    enum class Index { none, variable };

    LongClip(std::uint64_t groups, Index index) : groups_(groups) {
        MXFFile file(test::clip(
            {.container = test::Container::mxf, .sound = std::vector<test::SoundDescription>(tracks)}));
        const auto frames = static_cast<std::uint64_t>(groups * groupFrames);
        for (const std::uint8_t kind : Bytes{0x0f, 0x11, 0x14})
            file.setAll(kind, 0x0202, frames);
        const auto essence = file.first(&MXFTriplet::isEssence);
        std::vector<MXFTriplet> head(file.triplets.begin(), essence);
        std::vector<std::vector<MXFTriplet>> packages;
        for (auto triplet = essence; !triplet->isPartition(); ++triplet) {
            if (triplet->isEssence() && triplet->key[5] == 0x05)
                packages.emplace_back();
            packages.back().push_back(*triplet);
        }
        Bytes entries;
        for (std::size_t i = 0; i < groupFrames; ++i) {
            const std::size_t start = group_.size();
            std::size_t slice = 0;
            for (MXFTriplet triplet : packages.at(i)) {
                if (triplet.isFill())
                    continue;
                if (triplet.isEssence() && triplet.key[12] == 0x15)
                    triplet.value.assign(i == 0 ? 600'000 : 180'000 + 1000 * i, 0x11);
                if (triplet.isEssence() && triplet.key[12] == 0x16 && slice == 0)
                    slice = group_.size() - start;
                append(group_, bytesOf({triplet}));
                if (triplet.key[12] != 0x04 || triplet.key[5] == 0x43)
                    append(group_, bytesOf({fillTo(group_.size())}));
            }
            Bytes entry(15);
            test::setNumber(entry, 3, 8, start);
            test::setNumber(entry, 11, 4, slice);
            append(entries, entry);
        }
        std::vector<MXFTriplet> footer{*file.first(&MXFTriplet::isFooter)};
        for (MXFTriplet segment : file.triplets) {
            if (!segment.isIndex() || index == Index::none)
                continue;
            const std::size_t array = segment.property(0x3f0a);
            constexpr std::uint64_t groupsPerSegment = 300; // the array's length has 16 bits
            for (std::uint64_t first = 0; first < groups; first += groupsPerSegment) {
                MXFTriplet part = segment;
                const std::uint64_t count = std::min(groupsPerSegment, groups - first);
                part.value.resize(array + 8);
                test::setNumber(part.value, array - 2, 2, 8 + count * entries.size());
                test::setNumber(part.value, array, 4, count * groupFrames);
                part.set(0x3f0c, first * groupFrames);
                part.set(0x3f0d, count * groupFrames);
                for (std::uint64_t g = first; g < first + count; ++g) {
                    append(part.value, entries);
                    for (std::size_t i = 0; i < groupFrames; ++i) {
                        const std::size_t at = part.value.size() - entries.size() + 15 * i + 3;
                        test::setNumber(part.value, at, 8,
                                        test::number(part.value, at, 8) + g * group_.size());
                    }
                }
                footer.push_back(part);
            }
            break;
        }
        if (index == Index::none)
            test::setNumber(footer.front().value, 48, 4, 0);
        std::vector<MXFTriplet> all = head;
        all.insert(all.end(), footer.begin(), footer.end());
        all.push_back(file.triplets.back());
        // The editor writes head and tail as if nothing lay between them: move what comes after.
        const std::uint64_t shift = groups * group_.size();
        Bytes joined = bytesOf(all);
        const auto middle = joined.begin() + static_cast<std::ptrdiff_t>(bytesOf(head).size());
        head_.assign(joined.begin(), middle);
        tail_.assign(middle, joined.end());
        const auto shiftAt = [&](Bytes& bytes, std::size_t at) {
            test::setNumber(bytes, at, 8, test::number(bytes, at, 8) + shift);
        };
        const std::size_t packStart = 16 + footer.front().lengthBytes;
        shiftAt(tail_, packStart + 8);
        shiftAt(tail_, packStart + 24);
        shiftAt(tail_, tail_.size() - 4 - 8);
        for (std::size_t at = 0; at < head_.size();) {
            const MXFFile one{Bytes(head_.begin() + static_cast<std::ptrdiff_t>(at), head_.end())};
            for (const MXFTriplet& triplet : one.triplets) {
                if (triplet.isPartition())
                    shiftAt(head_, at + 16 + triplet.lengthBytes + 24);
                at += 16 + triplet.lengthBytes + triplet.value.size();
            }
        }
    }

    [[nodiscard]] std::uint64_t size() const noexcept override {
        return head_.size() + groups_ * group_.size() + tail_.size();
    }
    [[nodiscard]] std::uint64_t frames() const { return groups_ * groupFrames; }

  protected:
    void read(std::uint64_t offset, std::span<std::byte> out) const override {
        const std::uint64_t body = groups_ * group_.size();
        while (!out.empty()) {
            const Bytes* part = &head_;
            std::uint64_t at = offset;
            if (offset >= head_.size() + body) {
                part = &tail_;
                at = offset - head_.size() - body;
            } else if (offset >= head_.size()) {
                part = &group_;
                at = (offset - head_.size()) % group_.size();
            }
            const auto count =
                static_cast<std::size_t>(std::min<std::uint64_t>(out.size(), part->size() - at));
            std::memcpy(out.data(), part->data() + at, count);
            out = out.subspan(count);
            offset += count;
        }
    }

  private:
    std::uint64_t groups_;
    Bytes head_, group_, tail_;
};

/// Reads all sound tracks at once, never more than about a second apart. Returns the bytes of sound.
std::uint64_t readSound(const media::Container& container) {
    std::vector<std::size_t> sound;
    for (const media::Track& track : container.tracks())
        if (track.mediaType == MediaType::audio)
            sound.push_back(track.index);
    std::atomic<std::uint64_t> bytes = 0;
    std::barrier together(static_cast<std::ptrdiff_t>(sound.size()));
    std::vector<std::jthread> lanes;
    for (const std::size_t index : sound)
        lanes.emplace_back([&, index] {
            const auto reader = container.reader(index);
            media::StoredSamples samples;
            for (int i = 0; reader->next(samples); ++i) {
                bytes += samples.data.size();
                if (i % 4 == 3)
                    together.arrive_and_wait();
            }
            together.arrive_and_drop();
        });
    lanes.clear();
    return bytes;
}

constexpr std::uint64_t fiveMinutes = 300 * 25 / groupFrames;
constexpr std::uint64_t mebibyte = 1 << 20;

TEST(MXFBudget, FiveMinutesWithAnIndex) {
    const auto clip = std::make_shared<LongClip>(fiveMinutes, LongClip::Index::variable);
    EXPECT_GT(clip->size(), 1'800'000'000U);
    const auto container = media::mxf::open(clip);
    EXPECT_EQ(container->duration(), (media::Time{300, 1}));
    EXPECT_LE(clip->bytesRead(), mebibyte / 4);
    const std::uint64_t sound = readSound(*container);
    EXPECT_EQ(sound, 300U * 48'000 * 3 * tracks);
    EXPECT_LE(clip->bytesRead(), sound + sound * 15 / 100);
}

TEST(MXFBudget, FiveMinutesWithoutAnIndex) {
    const auto clip = std::make_shared<LongClip>(fiveMinutes, LongClip::Index::none);
    const auto container = media::mxf::open(clip);
    const std::uint64_t sound = readSound(*container);
    EXPECT_EQ(sound, 300U * 48'000 * 3 * tracks);
    EXPECT_LE(clip->bytesRead(), sound + 300 * 65'536);
}

TEST(MXFBudget, AHundredGigabytesProbeAtOnce) {
    const auto clip = std::make_shared<LongClip>(33'000, LongClip::Index::variable);
    EXPECT_GT(clip->size(), 100'000'000'000U);
    const auto start = std::chrono::steady_clock::now();
    const auto container = media::mxf::open(clip);
    EXPECT_LT(std::chrono::steady_clock::now() - start, std::chrono::milliseconds(50));
    EXPECT_EQ(container->duration(), (media::Time{static_cast<std::int64_t>(clip->frames()), 25}));
    EXPECT_LE(clip->bytesRead(), mebibyte);
}

} // namespace
