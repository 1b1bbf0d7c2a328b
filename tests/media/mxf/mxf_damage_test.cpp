// SPDX-License-Identifier: GPL-3.0-or-later
// MXF files that lead in circles or nowhere: a sentence, soon.
#include <algorithm>
#include <chrono>

#include <gtest/gtest.h>

#include "media/open.h"
#include "tests/media/mxf/mxf_reading.h"
#include "tests/support/slowdown.h"

namespace {

using test::Bytes;
using test::MXFFile;
using test::MXFTriplet;
using test::sourceOf;

constexpr std::uint8_t sequenceSet = 0x0f, sourceClipSet = 0x11, timecodeSet = 0x14, sourcePackageSet = 0x37,
                       trackSet = 0x3b, multipleDescriptorSet = 0x44;

/// Every set of a kind refers to itself, in a property that holds a list or one reference.
std::function<void(MXFFile&)> selfReferring(std::uint8_t kind, std::uint16_t tag, bool isList = true) {
    return [=](MXFFile& file) {
        for (MXFTriplet* set : file.sets(kind))
            set->put(tag, isList ? test::references({*set}) : set->bytesOf(0x3c0a));
    };
}

void packagesFromThemselves(MXFFile& file) {
    for (MXFTriplet* clip : file.sets(sourceClipSet))
        clip->put(0x1101, file.sets(sourcePackageSet).back()->bytesOf(0x4401));
    file.setAll(timecodeSet, 0x1501, 0);
}

void partitionsThatFollowThemselves(MXFFile& file) {
    file.remove(&MXFTriplet::isRandomIndex);
    file.closing = [](Bytes& bytes) {
        std::size_t at = 0;
        for (const MXFTriplet& triplet : MXFFile(Bytes(bytes)).triplets) {
            if (triplet.isPartition())
                test::setNumber(bytes, at + 16 + triplet.lengthBytes + 16, 8, at);
            at += 16 + triplet.lengthBytes + triplet.value.size();
        }
    };
}

TEST(MXFDamage, NamesTheSetThatIsMissing) {
    const auto withoutSequences = [](MXFFile& file) {
        file.remove([](const MXFTriplet& triplet) { return triplet.isSet(sequenceSet); });
    };
    try {
        (void)test::edited("25", withoutSequences);
        FAIL();
    } catch (const media::Error& error) {
        EXPECT_STREQ(error.what(),
                     "The clip's header describes neither picture nor sound: it refers to a track's "
                     "sequence that isn't there.");
    }
}

TEST(MXFDamage, EndsSoon) {
    struct Damage {
        const char* name;
        std::function<void(MXFFile&)> edit;
        bool canStillOpen = false;
    };
    for (const Damage& damage : std::vector<Damage>{
             {"sequences in themselves", selfReferring(sequenceSet, 0x1001)},
             {"tracks in themselves", selfReferring(trackSet, 0x4803, false)},
             {"descriptors in themselves", selfReferring(multipleDescriptorSet, 0x3f01), true},
             {"packages from themselves", packagesFromThemselves, true},
             {"partitions that follow themselves", partitionsThatFollowThemselves, true},
             {"an hour a picture",
              [](MXFFile& file) { file.setAll(trackSet, 0x4b01, std::uint64_t{1} << 32 | 3600); }},
             {"no metadata", [](MXFFile& file) { file.remove(&MXFTriplet::isMetadata); }},
             {"no essence",
              [](MXFFile& file) {
                  file.triplets.erase(file.first(&MXFTriplet::isBody), file.triplets.end());
              }},
         }) {
        SCOPED_TRACE(damage.name);
        const auto start = std::chrono::steady_clock::now();
        if (damage.canStillOpen)
            EXPECT_NO_THROW(test::edited("25", damage.edit));
        else
            EXPECT_THROW(test::edited("25", damage.edit), media::Error);
        EXPECT_LT(std::chrono::steady_clock::now() - start, std::chrono::seconds(5) * test::slowdown);
    }
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
    MXFFile file(test::clip({.container = test::Container::mxf}));
    file.triplets.erase(file.first(&MXFTriplet::isEssence), file.triplets.end());
    const auto start = std::chrono::steady_clock::now();
    EXPECT_THROW((void)media::openAsset(std::make_shared<EmptyTriplets>(file.bytes())), media::Error);
    EXPECT_LT(std::chrono::steady_clock::now() - start, std::chrono::seconds(5) * test::slowdown);
}

} // namespace
