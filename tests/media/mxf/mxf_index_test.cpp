// SPDX-License-Identifier: GPL-3.0-or-later
// Where index segments, byte by byte, say that edit units and their elements lie (SMPTE ST 377-1, 11).
#include <gtest/gtest.h>

#include "media/mxf/index_table.h"
#include "tests/media/mxf/mxf_reading.h"

namespace {

using test::bigEndian;
using test::Bytes;
using Offsets = std::vector<std::int64_t>; ///< -1: the table has no answer

struct Segment {
    std::uint64_t start, duration, unitBytes;
    std::vector<std::uint64_t> entries{}; ///< stream offsets; slice n starts 10^n bytes behind each
    std::uint64_t slices = 0;
    std::size_t entryBytes = 11;
    std::uint64_t bodySID = 1;
};

/// Elements 0, 7 and 9 bytes into slices 0, 1 and 2.
constexpr std::array<media::mxf::ElementPlace, 3> places{{{0, 0}, {1, 7}, {2, 9}}};

test::MXFTriplet triplet(const Segment& segment) {
    test::MXFTriplet made;
    made.key = {0x06, 0x0e, 0x2b, 0x34, 2, 0x53, 1, 1, 0x0d, 1, 2, 1, 1, 0x10, 1};
    Bytes array = bigEndian(std::uint64_t{segment.entries.size()} << 32 | segment.entryBytes, 8);
    for (const std::uint64_t offset : segment.entries) {
        const std::size_t at = array.size();
        array.resize(at + segment.entryBytes);
        test::setNumber(array, at + 3, 8, offset);
        for (std::size_t slice = 0; at + 15 + 4 * slice <= array.size() && slice < 2; ++slice)
            test::setNumber(array, at + 11 + 4 * slice, 4, slice == 0 ? 10 : 100);
    }
    made.put(0x3f0c, bigEndian(segment.start, 8));
    made.put(0x3f08, bigEndian(segment.slices, 1));
    made.put(0x3f0a, array); // its length wraps above 64 KiB
    made.put(0x3f0d, bigEndian(segment.duration, 8));
    made.put(0x3f05, bigEndian(segment.unitBytes, 4));
    made.put(0x3f07, bigEndian(segment.bodySID, 4));
    Bytes deltas = bigEndian(std::uint64_t{places.size()} << 32 | 6, 8);
    for (const auto& place : places) {
        const Bytes delta = bigEndian(std::uint64_t{place.slice} << 32 | place.delta, 6);
        deltas.insert(deltas.end(), delta.begin(), delta.end());
    }
    made.put(0x3f09, deltas);
    return made;
}

TEST(MXFIndex, SaysWhereUnitsAndTheirElementsLie) {
    struct Case {
        const char* name;
        std::vector<Segment> segments;
        std::int64_t units;
        Offsets offsets;
        std::size_t element = 0;
    };
    for (const Case& c : std::vector<Case>{
             {"one size to the end", {{0, 0, 100}}, 0, {0, 100, 200}},
             {"one size up to an end", {{0, 2, 100}}, 2, {0, 100, -1}},
             {"segments of a size each", {{0, 2, 100}, {2, 2, 300}}, 4, {0, 100, 200, 500, -1}},
             {"in any order", {{2, 0, 100}, {0, 2, 100}}, 0, {0, 100, 200, 300}},
             {"a missing segment", {{0, 2, 100}, {3, 1, 100}}, 0, {0, 100, -1, 300, -1}},
             {"begun early and repeated whole",
              {{0, 2, 100}, {0, 4, 100}, {0, 3, 100}},
              4,
              {0, 100, 200, 300, -1}},
             {"segments that overlap", {{0, 3, 100}, {1, 3, 100}}, 4, {0, 100, 200, 300, -1}},
             {"another container's", {{0, 2, 100}, {2, 2, 100, {}, 0, 11, 9}}, 2, {0, 100, -1}},
             {"the container's by the index alone", {{0, 2, 100, {}, 0, 11, 0}}, 2, {0, 100, -1}},
             {"an element by its place", {{0, 2, 100, {}, 1}}, 2, {7, 107, -1}, 1},
             {"entries", {{0, 3, 0, {0, 900, 1'000}}}, 3, {0, 900, 1'000, -1}},
             {"entries in segments", {{0, 2, 0, {0, 900}}, {2, 1, 0, {1'000}}}, 3, {0, 900, 1'000, -1}},
             {"entries without a duration", {{0, 0, 0, {0, 900}}}, 2, {0, 900, -1}},
             {"more than entries", {{0, 9, 0, {0, 900}}}, 2, {0, 900, -1}},
             {"an entry for the end", {{0, 2, 0, {0, 900, 1'000}}}, 2, {0, 900, -1}},
             {"an entry a field", {{0, 2, 0, {0, 1, 900, 901}}}, 2, {0, 900, -1}},
             {"an entry a field and one for the end", {{0, 2, 0, {0, 1, 900, 901, 990}}}, 2, {0, 900, -1}},
             {"entries beyond the duration", {{0, 2, 0, {0, 9, 90, 91, 92, 93}}}, 2, {0, 9, -1}},
             {"a slice", {{0, 2, 0, {0, 900}, 2, 19}}, 2, {17, 917, -1}, 1},
             {"a slice behind others, with positions", {{0, 2, 0, {0, 900}, 2, 27}}, 2, {109, 1'009, -1}, 2},
             {"a slice that entries have no room for", {{0, 2, 0, {0, 900}, 2, 15}}, 2, {-1, -1, -1}, 2},
             {"entries of more than 64 KiB",
              {{0, 0, 0, std::vector<std::uint64_t>(6'000, 5)}},
              6'000,
              {5, 5}},
             {"entries too small", {{0, 2, 0, {}, 0, 10}}, 0, {-1}},
             {"a start that can't be", {{UINT64_MAX, 2, 100}}, 0, {-1}},
         }) {
        SCOPED_TRACE(c.name);
        test::MXFFile file{Bytes{}};
        std::ranges::transform(c.segments, std::back_inserter(file.triplets), triplet);
        const auto source = test::sourceOf(file.bytes());
        media::mxf::Partition partition;
        partition.indexSID = 2;
        const media::mxf::IndexTable index(*source, std::span(&partition, 1), 1, 0);
        EXPECT_EQ(index.units(), c.units);
        media::mxf::KlvReader reader(*source);
        Offsets offsets;
        for (std::size_t unit = 0; unit < c.offsets.size(); ++unit) {
            const auto found = index.offset(reader, static_cast<std::int64_t>(unit), places[c.element]);
            offsets.push_back(found ? static_cast<std::int64_t>(*found) : -1);
        }
        EXPECT_EQ(offsets, c.offsets);
        EXPECT_TRUE(index.segment(0) == nullptr || index.segment(0)->places.size() == places.size());
    }
}

} // namespace
