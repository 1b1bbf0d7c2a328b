// SPDX-License-Identifier: GPL-3.0-or-later
// Builds a movie's boxes in memory, with holes for the long tables, which are streamed when all is written.
#pragma once

#include <cstdint>
#include <functional>
#include <utility>
#include <vector>

#include "media/base/byte_writer.h"
#include "media/quicktime/writer/movie_output.h"
#include "media/quicktime/writer/spilled_table.h"

namespace media::quicktime {

class HeaderBuilder {
  public:
    io::ByteWriter bytes; ///< for what stays in memory

    /// A box around what `content` writes, tables included. Throws Error when it passes 4 GB.
    template <typename Content>
    void box(FourCC type, Content&& content) {
        const std::size_t start = bytes.size();
        const std::uint64_t tablesBefore = tableBytes_;
        bytes.u32(0);
        bytes.u32(type);
        std::forward<Content>(content)();
        endBox(start, tableBytes_ - tablesBefore);
    }
    /// The same with the version and flags word of a full box.
    template <typename Content>
    void fullBox(FourCC type, std::uint8_t version, std::uint32_t flags, Content&& content) {
        box(type, [&] {
            bytes.u32(std::uint32_t{version} << 24 | flags);
            std::forward<Content>(content)();
        });
    }

    enum class Numbers { narrow, wide }; ///< 32 or 64 bits
    /// All entries of a table, which must live until `write`.
    void table(const SpilledTable& table, Numbers numbers);
    /// All runs, each as the `entryBytes` that `entry` makes of it.
    void runs(const SpilledRuns& runs, std::uint64_t entryBytes,
              std::function<void(io::ByteWriter&, const Run&)> entry);

    /// Appends everything to the file. To be called once.
    void write(MovieOutput& output) const;

  private:
    struct Table {
        std::size_t position; ///< in `bytes`
        std::function<void(MovieOutput&)> write;
    };

    void endBox(std::size_t start, std::uint64_t tableBytes);

    std::vector<Table> tables_;
    std::uint64_t tableBytes_ = 0;
};

} // namespace media::quicktime
