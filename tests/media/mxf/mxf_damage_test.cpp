// SPDX-License-Identifier: GPL-3.0-or-later
// MXF files that lead in circles or nowhere: a sentence, soon.
#include <algorithm>
#include <chrono>

#include <gtest/gtest.h>

#include "tests/media/mxf/mxf_reading.h"
#include "tests/support/slowdown.h"

namespace {

using test::Bytes;
using test::MXFFile;
using test::MXFTriplet;
using test::sourceOf;

constexpr std::uint8_t sequenceSet = 0x0f, sourceClipSet = 0x11, trackSet = 0x3b,
                       multipleDescriptorSet = 0x44;

Bytes instanceOf(const MXFTriplet& triplet) {
    const auto start = triplet.value.begin() + static_cast<std::ptrdiff_t>(triplet.property(0x3c0a));
    return {start, start + 16};
}

struct Damage {
    std::string name;
    std::function<void(MXFFile&)> edit;
    bool canStillOpen = false;
};

class MXFDamage : public testing::TestWithParam<Damage> {};

TEST_P(MXFDamage, EndsSoon) {
    const auto start = std::chrono::steady_clock::now();
    if (GetParam().canStillOpen)
        EXPECT_NO_THROW(test::edited("25", GetParam().edit));
    else
        EXPECT_THROW(test::edited("25", GetParam().edit), media::Error);
    EXPECT_LT(std::chrono::steady_clock::now() - start, std::chrono::seconds(5) * test::slowdown);
}

/// Every set of a kind refers to itself.
std::function<void(MXFFile&)> selfReferring(std::uint8_t kind, std::uint16_t tag, std::size_t at) {
    return [=](MXFFile& file) {
        for (MXFTriplet& triplet : file.triplets) {
            if (!triplet.isSet(kind))
                continue;
            const Bytes instance = instanceOf(triplet);
            std::ranges::copy(instance, triplet.value.begin() +
                                            static_cast<std::ptrdiff_t>(triplet.property(tag) + at));
        }
    };
}

INSTANTIATE_TEST_SUITE_P(
    All, MXFDamage,
    testing::Values(
        Damage{"sequencesInThemselves", selfReferring(sequenceSet, 0x1001, 8)},
        Damage{"tracksInThemselves", selfReferring(trackSet, 0x4803, 0)},
        Damage{"descriptorsInThemselves", selfReferring(multipleDescriptorSet, 0x3f01, 8), true},
        Damage{"packagesFromThemselves",
               [](MXFFile& file) {
                   Bytes package;
                   for (const MXFTriplet& triplet : file.triplets)
                       if (triplet.isSet(0x37))
                           package = Bytes(triplet.value.begin() +
                                               static_cast<std::ptrdiff_t>(triplet.property(0x4401)),
                                           triplet.value.begin() +
                                               static_cast<std::ptrdiff_t>(triplet.property(0x4401) + 32));
                   for (MXFTriplet& triplet : file.triplets)
                       if (triplet.isSet(sourceClipSet))
                           triplet.setBytes(0x1101, package);
                       else if (triplet.isSet(0x14))
                           triplet.set(0x1501, 0);
               },
               true},
        Damage{"partitionsThatFollowThemselves",
               [](MXFFile& file) {
                   file.remove([](const MXFTriplet& triplet) { return triplet.isRandomIndex(); });
                   file.closing = [](Bytes& bytes) {
                       const MXFFile whole(bytes);
                       std::size_t at = 0;
                       for (const MXFTriplet& triplet : whole.triplets) {
                           if (triplet.isPartition())
                               test::setNumber(bytes, at + 16 + triplet.lengthBytes + 16, 8, at);
                           at += 16 + triplet.lengthBytes + triplet.value.size();
                       }
                   };
               },
               true},
        Damage{"anHourAPicture",
               [](MXFFile& file) { file.setAll(trackSet, 0x4b01, std::uint64_t{1} << 32 | 3600); }},
        Damage{"noMetadata",
               [](MXFFile& file) {
                   file.remove([](const MXFTriplet& triplet) { return triplet.isMetadata(); });
               }},
        Damage{"noEssence",
               [](MXFFile& file) {
                   const auto body = std::ranges::find_if(
                       file.triplets, [](const MXFTriplet& triplet) { return triplet.isBody(); });
                   file.triplets.erase(body, file.triplets.end());
               }}),
    [](const auto& instance) { return instance.param.name; });

TEST(MXFDamagedFiles, AnyCutIsASentenceOrAClip) {
    test::ClipDescription description;
    description.container = test::Container::mxf;
    const Bytes whole = test::readFile(test::clip(description));
    std::size_t opened = 0;
    for (std::size_t length = 0; length < 60'000; length += 61) {
        try {
            const media::Asset asset(
                sourceOf(Bytes(whole.begin(), whole.begin() + static_cast<std::ptrdiff_t>(length))));
            EXPECT_GT(asset.duration().value, 0);
            ++opened;
        } catch (const media::Error& error) {
            EXPECT_EQ(std::string(error.what()).back(), '.');
        }
    }
    EXPECT_GT(opened, 0U);
}

/// A gigabyte of empty triplets where the essence should be.
class EmptyTriplets final : public media::io::ByteSource {
  public:
    explicit EmptyTriplets(Bytes head) : head_(std::move(head)), empty_(17) {
        std::ranges::copy(Bytes{6, 0x0e, 0x2b, 0x34, 1, 1, 1, 2, 3, 1, 2, 0x10, 1}, empty_.begin());
    }
    [[nodiscard]] std::uint64_t size() const noexcept override { return 17 * (std::uint64_t{1} << 30); }

  protected:
    void read(std::uint64_t offset, std::span<std::byte> out) const override {
        for (std::byte& byte : out) {
            const std::uint64_t at = offset++;
            byte = std::byte{at < head_.size() ? head_[at] : empty_[(at - head_.size()) % empty_.size()]};
        }
    }

  private:
    Bytes head_, empty_;
};

TEST(MXFDamagedFiles, EmptyTripletsWithoutEndAreLeft) {
    test::ClipDescription description;
    description.container = test::Container::mxf;
    MXFFile file(test::clip(description));
    const auto essence =
        std::ranges::find_if(file.triplets, [](const MXFTriplet& triplet) { return triplet.isEssence(); });
    file.triplets.erase(essence, file.triplets.end());
    const auto start = std::chrono::steady_clock::now();
    EXPECT_THROW(media::Asset(std::make_shared<EmptyTriplets>(file.bytes())), media::Error);
    EXPECT_LT(std::chrono::steady_clock::now() - start, std::chrono::seconds(5) * test::slowdown);
}

} // namespace
