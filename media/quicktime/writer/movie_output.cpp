// SPDX-License-Identifier: GPL-3.0-or-later
#include "media/quicktime/writer/movie_output.h"

#include <limits>

#include "media/base/byte_writer.h"

namespace media::quicktime {

namespace {

constexpr std::size_t largestGathered = std::size_t{1} << 20;
/// What is worth a write of its own: a second of most sound.
constexpr std::size_t smallestDirect = std::size_t{32} << 10;
constexpr std::uint64_t fileTypeSize = 20;
constexpr std::uint64_t shortHeader = 8;

} // namespace

MovieOutput::MovieOutput(const std::filesystem::path& path, std::uint64_t hole)
    : file_(platform::WritableFile::create(path)) {
    io::ByteWriter head;
    head.box(fourCC("ftyp"), [&] {
        head.u32(fourCC("qt  "));
        head.u32(0x20050300); // the version of the format: a date
        head.u32(fourCC("qt  "));
    });
    head.box(fourCC("wide"), [] {});
    head.box(fourCC("mdat"), [] {});
    append(head.bytes());
    if (hole > 0) {
        flush();
        written_ += hole;
    }
}

void MovieOutput::append(std::span<const std::byte> bytes) {
    const bool isDirect = bytes.size() >= smallestDirect;
    if (isDirect || buffer_.size() + bytes.size() > largestGathered)
        flush();
    if (isDirect) {
        file_.writeAt(written_, bytes);
        written_ += bytes.size();
        return;
    }
    buffer_.insert(buffer_.end(), bytes.begin(), bytes.end());
}

void MovieOutput::flush() {
    if (buffer_.empty())
        return;
    file_.writeAt(written_, buffer_);
    written_ += buffer_.size();
    buffer_.clear();
}

void MovieOutput::endMovieData() {
    flush();
    const std::uint64_t size = written_ - fileTypeSize - shortHeader; // the box with its short header
    io::ByteWriter header;
    if (size <= std::numeric_limits<std::uint32_t>::max()) {
        header.box(fourCC("wide"), [] {});
        header.u32(static_cast<std::uint32_t>(size));
        header.u32(fourCC("mdat"));
    } else {
        header.u32(1);
        header.u32(fourCC("mdat"));
        header.u64(size + shortHeader);
    }
    file_.writeAt(fileTypeSize, header.bytes());
}

void MovieOutput::close() {
    flush();
    file_.close();
}

} // namespace media::quicktime
