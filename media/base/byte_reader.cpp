// SPDX-License-Identifier: GPL-3.0-or-later
#include "media/base/byte_reader.h"

#include <array>

namespace media::io {

namespace {

/// What people call the boxes that a clip's header stands and falls with.
struct BoxName {
    const char* code;
    const char* name;
};
constexpr std::array boxNames{
    BoxName{"moov", "The movie header"},       BoxName{"mvhd", "The movie header"},
    BoxName{"tkhd", "A track's header"},       BoxName{"mdhd", "A track's media header"},
    BoxName{"elst", "A track's edit list"},    BoxName{"stsd", "A track's sample description"},
    BoxName{"stts", "A track's sample table"}, BoxName{"ctts", "A track's sample table"},
    BoxName{"stsc", "A track's sample table"}, BoxName{"stsz", "A track's sample table"},
    BoxName{"stz2", "A track's sample table"}, BoxName{"stco", "A track's sample table"},
    BoxName{"co64", "A track's sample table"}, BoxName{"tfhd", "A fragment's header"},
    BoxName{"tfdt", "A fragment's header"},    BoxName{"trun", "A fragment's sample table"},
};

} // namespace

void endsEarly(std::uint32_t box) {
    if (box == 0)
        throw Error(Error::Category::endOfData, "The file ends too early.");
    std::string code;
    for (int shift = 24; shift >= 0; shift -= 8) {
        const auto character = static_cast<char>(box >> shift & 0xFF);
        code += character < ' ' || character > '~' ? '?' : character;
    }
    std::string name = "A part of the header";
    for (const BoxName& known : boxNames)
        if (code == known.code)
            name = known.name;
    throw Error(Error::Category::endOfData, name + " (" + code + ") ends too early.");
}

} // namespace media::io
