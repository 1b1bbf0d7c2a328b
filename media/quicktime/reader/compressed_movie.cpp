// SPDX-License-Identifier: GPL-3.0-or-later
#include "media/quicktime/reader/compressed_movie.h"

#include <algorithm>
#include <span>

#include <zlib.h>

namespace media::quicktime {

namespace {

constexpr std::size_t largestInflated = std::size_t{64} << 20;
constexpr std::size_t largestRatio = 1000;

[[noreturn]] void throwDamaged() {
    throw Error(Error::Category::corrupt, "The movie's compressed header is damaged.");
}

/// zlib's stream, given back whatever happens.
class Inflater {
  public:
    Inflater() {
        if (inflateInit(&stream_) != Z_OK)
            throwDamaged();
    }
    ~Inflater() { inflateEnd(&stream_); }
    Inflater(const Inflater&) = delete;
    Inflater& operator=(const Inflater&) = delete;

    /// Memory grows with what comes out, not with what the file promises.
    std::vector<std::byte> inflateAll(std::span<const std::byte> compressed, std::size_t limit) {
        constexpr std::size_t step = std::size_t{64} << 10;
        std::vector<std::byte> bytes;
        // zlib's interface knows no const; it does not write to its input.
        stream_.next_in = reinterpret_cast<Bytef*>(const_cast<std::byte*>(compressed.data()));
        stream_.avail_in = static_cast<uInt>(compressed.size());
        int result = Z_OK;
        while (result == Z_OK) {
            const std::size_t done = bytes.size();
            if (done >= limit)
                throwDamaged();
            const std::size_t room = std::min(std::max(step, done), limit - done);
            bytes.resize(done + room);
            stream_.next_out = reinterpret_cast<Bytef*>(bytes.data() + done);
            stream_.avail_out = static_cast<uInt>(room);
            result = inflate(&stream_, Z_NO_FLUSH);
            bytes.resize(done + room - stream_.avail_out);
        }
        if (result != Z_STREAM_END)
            throwDamaged();
        return bytes;
    }

  private:
    z_stream stream_{};
};

} // namespace

std::vector<std::byte> inflateMovie(Window& window, const Box& cmov) {
    BoxWalk boxes(window, cmov);
    while (const auto box = boxes.next()) {
        if (box->type == fourCC("dcom")) {
            if (payload(window, *box).u32() != fourCC("zlib"))
                throw Error(Error::Category::unsupported,
                            "The movie's header is compressed in a way that can't be read here.");
        } else if (box->type == fourCC("cmvd")) {
            io::ByteReader reader = payload(window, *box, largestInflated);
            reader.skip(4); // the inflated size, which the stream tells by itself
            const auto compressed = reader.rest();
            const std::size_t limit =
                std::min(largestInflated, std::max<std::size_t>(compressed.size(), 1) * largestRatio);
            return Inflater().inflateAll(compressed, limit);
        }
    }
    throwDamaged();
}

} // namespace media::quicktime
