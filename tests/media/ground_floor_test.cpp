// SPDX-License-Identifier: GPL-3.0-or-later
// What all readers stand on: exact arithmetic, cursors, windows, what lanes share, keys and sets. Bytes
// alone, no clips.
#include <gtest/gtest.h>

#include "media/base/byte_reader.h"
#include "media/base/time.h"
#include "media/io/shared_store.h"
#include "media/mxf/local_set.h"

namespace {

using media::Error;
using media::Rational;
using media::Time;
using media::io::Rounding;
using media::mxf::LocalSet;

std::vector<std::byte> bytes(std::initializer_list<int> values) {
    std::vector<std::byte> result;
    for (const int value : values)
        result.push_back(static_cast<std::byte>(value));
    return result;
}

TEST(GroundFloor, ArithmeticIsExactOrRefused) {
    constexpr std::int64_t large = std::numeric_limits<std::int64_t>::max();
    struct Case {
        std::int64_t value, multiplier, divisor, down, nearest, up;
    };
    for (const auto& [value, multiplier, divisor, down, nearest, up] :
         {Case{7, 1, 2, 3, 4, 4}, Case{-7, 1, 2, -4, -4, -3}, Case{1, 1, 3, 0, 0, 1},
          Case{-1, 1, 3, -1, 0, 0}, Case{6, 2, 4, 3, 3, 3}, Case{large, large, large, large, large, large}}) {
        EXPECT_EQ(media::io::scaled(value, multiplier, divisor, Rounding::down), down) << value;
        EXPECT_EQ(media::io::scaled(value, multiplier, divisor, Rounding::nearest), nearest) << value;
        EXPECT_EQ(media::io::scaled(value, multiplier, divisor, Rounding::up), up) << value;
    }
    EXPECT_THROW((void)media::io::scaled(large, 2, 1), Error);
    EXPECT_THROW((void)media::io::scaled(1, 1, 0), Error);
    EXPECT_THROW((void)media::io::checkedMultiply(large, std::int64_t{2}), Error);
    EXPECT_THROW((void)media::io::checked<std::uint8_t>(256), Error);

    EXPECT_EQ((Time{1, 2}), (Time{2, 4}));
    EXPECT_LT((Time{large - 1, large}), (Time{large, large}));
    EXPECT_EQ((Time{1, 3} + Time{1, 6} - Time{1, 2}).value, 0);
    EXPECT_EQ((Time{1, 24'000} + Time{1, 30'000}), (Time{9, 120'000}));
    EXPECT_EQ((Time{1, large} + Time{1, large - 1}).timescale, 1'000'000'000) << "no scale holds both";
    EXPECT_EQ(media::timeOf(3, {30'000, 1001}), (Time{3'003, 30'000}));
}

TEST(GroundFloor, CursorsAndWindowsEndWhereTheirBytesDo) {
    const auto data = bytes({0xFF, 0xFE, 1, 2, 3, 4, 5, 6});
    media::io::ByteReader reader(data, 0x7374737A); // stsz
    EXPECT_EQ(reader.i16(), -2);
    EXPECT_EQ(reader.u24(), 0x010203U);
    try {
        (void)reader.u32();
        FAIL();
    } catch (const Error& error) {
        EXPECT_STREQ(error.what(), "A track's sample table (stsz) ends too early.");
    }
    EXPECT_EQ(reader.remaining(), 3U) << "a read that fails takes nothing";

    const auto source = media::io::memorySource(data);
    media::io::Window window(*source, 2, 7, 4);
    EXPECT_EQ(window.at(2, 1)[0], data[2]);
    EXPECT_EQ(window.at(4, 2)[1], data[5]);
    EXPECT_EQ(source->bytesRead(), 4U) << "read once";
    EXPECT_EQ(window.upTo(6, 4).size(), 1U);
    EXPECT_TRUE(window.upTo(7, 1).empty());
    EXPECT_THROW((void)window.at(6, 2), Error);
    EXPECT_THROW((void)window.at(1, 1), Error);
}

TEST(GroundFloor, SharedBatchesGoWhenNobodyWantsThemOrThereAreTooMany) {
    using Batch = std::vector<std::byte>;
    media::io::SharedStore<Batch> store(10, 3);
    std::vector<media::io::SharedStore<Batch>::Held> inUse;
    const auto held = [&](std::int64_t begin) {
        inUse.clear();
        store.find(begin, inUse);
        return inUse.size();
    };
    for (std::int64_t end = 1; end <= 4; ++end)
        store.add(end, std::make_shared<Batch>(3));
    EXPECT_EQ(held(0), 3U);
    EXPECT_EQ(held(3), 1U);
    EXPECT_EQ(store.spare()->size(), 3U) << "the dropped one's memory";
    store.drop(3, inUse);
    EXPECT_EQ(held(0), 1U);
    EXPECT_TRUE(store.exchange(4, nullptr));
    store.add(5, std::make_shared<Batch>(11));
    EXPECT_EQ(held(0), 1U) << "the newest stays, however large";
    EXPECT_FALSE(store.exchange(4, nullptr));
}

TEST(GroundFloor, TripletsHaveLengthsOfEveryForm) {
    struct Case {
        std::initializer_list<int> length;
        std::optional<std::uint64_t> expected;
    };
    for (const Case& c :
         {Case{{5}, 5}, Case{{0x81, 0x80}, 128}, Case{{0x83, 0, 1, 2}, 258},
          Case{{0x88, 0, 0, 0, 1, 0, 0, 0, 0}, 1ULL << 32}, Case{{0x80}, {}}, Case{{0x89}, {}},
          Case{{0x83, 0}, {}}, Case{{0x88, 255, 255, 255, 255, 255, 255, 255, 255}, {}}}) {
        auto file = bytes({6, 14, 43, 52, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0});
        for (const int byte : c.length)
            file.push_back(static_cast<std::byte>(byte));
        const auto source = media::io::memorySource(file);
        const auto klv = media::mxf::KlvReader(*source).at(0);
        EXPECT_EQ(klv ? std::optional(klv->length) : std::nullopt, c.expected);
        EXPECT_EQ(klv ? klv->valueOffset : file.size(), file.size());
    }
}

TEST(GroundFloor, SetsGiveWhatIsWellFormed) {
    const LocalSet set(
        1, bytes({0, 1, 0, 2,  1,   2,                                            // a number of two bytes
                  0, 1, 0, 1,  9,                                                 // the same tag again
                  0, 2, 0, 3,  1,   2,    3,                                      // of no number's length
                  0, 3, 0, 8,  255, 255,  255,  255,  255,  255, 255,  254,       //
                  0, 4, 0, 10, 0,   'a',  0xD8, 0x3D, 0xDE, 0,   0xDC, 0,   0, 0, //
                  0, 5, 0, 8,  0,   0,    0,    2,    0,    0,   0,    16,  // an array without its entries
                  0, 7, 0, 8,  7,   0xea, 11,   22,   19,   57,  45,   180, // 22 November 2026, 19:57:45.720
                  0, 8, 0, 8,  7,   0xea, 13,   22,   19,   57,  45,   180, // a thirteenth month
                  0, 6, 0, 9,  1}));                                        // longer than the set
    EXPECT_EQ(set.number(1), 0x102U);
    EXPECT_EQ(set.number(2), std::nullopt);
    EXPECT_EQ(set.position(3), -2);
    EXPECT_EQ(set.rational(3)->num, -1);
    EXPECT_EQ(set.rational(3)->den, -2);
    EXPECT_EQ(set.text(4), "a\U0001F600\uFFFD");
    EXPECT_TRUE(set.labels(5).empty());
    EXPECT_EQ(set.number(6), std::nullopt);
    EXPECT_EQ(set.number(9), std::nullopt);
    EXPECT_EQ(set.timestamp(7)->time_since_epoch(), std::chrono::milliseconds(1'795'377'465'720));
    EXPECT_EQ(set.timestamp(8), std::nullopt);
}

} // namespace
