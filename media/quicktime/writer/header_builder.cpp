// SPDX-License-Identifier: GPL-3.0-or-later
#include "media/quicktime/writer/header_builder.h"

#include <limits>

#include "media/base/error.h"

namespace media::quicktime {

namespace {

constexpr std::size_t blockSize = std::size_t{64} << 10;

/// Hands on what was written when it is worth a write, or all of it at the `end`.
void drain(io::ByteWriter& bytes, MovieOutput& output, bool end) {
    if (end || bytes.size() >= blockSize)
        output.append(bytes.take());
}

} // namespace

void HeaderBuilder::table(const SpilledTable& table, Numbers numbers) {
    const bool wide = numbers == Numbers::wide;
    tables_.push_back({bytes.size(), [&table, wide](MovieOutput& output) {
                           io::ByteWriter block;
                           table.forEach([&](std::uint64_t value) {
                               if (wide)
                                   block.u64(value);
                               else
                                   block.u32(static_cast<std::uint32_t>(value));
                               drain(block, output, false);
                           });
                           drain(block, output, true);
                       }});
    tableBytes_ += table.count() * (wide ? 8 : 4);
}

void HeaderBuilder::runs(const SpilledRuns& runs, std::uint64_t entryBytes,
                         std::function<void(io::ByteWriter&, const Run&)> entry) {
    tables_.push_back({bytes.size(), [&runs, entry = std::move(entry)](MovieOutput& output) {
                           io::ByteWriter block;
                           runs.forEach([&](const Run& run) {
                               entry(block, run);
                               drain(block, output, false);
                           });
                           drain(block, output, true);
                       }});
    tableBytes_ += runs.runCount() * entryBytes;
}

void HeaderBuilder::write(MovieOutput& output) const {
    std::span<const std::byte> rest(bytes.bytes());
    std::size_t done = 0;
    for (const Table& table : tables_) {
        output.append(rest.first(table.position - done));
        rest = rest.subspan(table.position - done);
        done = table.position;
        table.write(output);
    }
    output.append(rest);
}

void HeaderBuilder::endBox(std::size_t start, std::uint64_t tableBytes) {
    const std::uint64_t size = bytes.size() - start + tableBytes;
    if (size > std::numeric_limits<std::uint32_t>::max())
        throw Error(Error::Category::unsupported, "The copy can't be written: its header passes 4 GB.");
    bytes.patchU32(start, static_cast<std::uint32_t>(size));
}

} // namespace media::quicktime
