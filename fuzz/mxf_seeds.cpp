// SPDX-License-Identifier: GPL-3.0-or-later
// Writes small MXF seeds into a folder from clips that ffmpeg made: mxf_seeds FOLDER CLIP…. Fill goes,
// pictures and sound are cut to a few bytes, so that the fuzzer's time goes into the structure.
#include <algorithm>
#include <cstdio>
#include <exception>

#include "tests/support/mxf_editor.h"

namespace {

using test::MXFFile;
using test::MXFTriplet;

constexpr std::size_t mostElements = 48;
constexpr std::size_t mostIndexed = 12;

void shrink(MXFFile& file) {
    std::size_t elements = 0;
    file.remove([&](const MXFTriplet& triplet) {
        return triplet.isFill() || (triplet.isEssence() && ++elements > mostElements);
    });
    for (MXFTriplet& triplet : file.triplets) {
        if (triplet.isEssence() && triplet.key[4] == 0x01)
            triplet.value.resize(
                std::min<std::size_t>(triplet.value.size(), triplet.key[12] == 0x06 ? 68 : 24));
        const std::size_t entries = triplet.isIndex() ? triplet.property(0x3f0a) : 0;
        if (entries != 0) { // the last property
            const std::size_t size = test::number(triplet.value, entries + 4, 4);
            const std::size_t kept =
                std::min<std::size_t>(test::number(triplet.value, entries, 4), mostIndexed);
            triplet.value.resize(entries + 8 + kept * size);
            test::setNumber(triplet.value, entries - 2, 2, 8 + kept * size);
            test::setNumber(triplet.value, entries, 4, kept);
        }
        if (triplet.isPrimer()) {
            constexpr std::size_t tags = 4;
            triplet.value.resize(8 + tags * 18);
            test::setNumber(triplet.value, 0, 4, tags);
        }
    }
}

void writeSeeds(const std::filesystem::path& folder, const std::filesystem::path& clip) {
    const std::string name = clip.stem().string();
    MXFFile file(clip);
    shrink(file);
    test::writeFile(folder / name, file.bytes());
    MXFFile open = file;
    for (MXFTriplet& triplet : open.triplets)
        if (triplet.isPartition())
            triplet.key[14] = 1;
    for (const std::uint8_t kind : test::Bytes{0x0f, 0x11, 0x14})
        open.setAll(kind, 0x0202, UINT64_MAX);
    test::writeFile(folder / (name + "-open"), open.bytes());
    MXFFile bare = file;
    bare.remove([](const MXFTriplet& triplet) { return triplet.isIndex() || triplet.isRandomIndex(); });
    bare.runIn.assign(17, 0x06);
    test::Bytes bytes = bare.bytes();
    test::writeFile(folder / (name + "-bare"), bytes);
    bytes.resize(bytes.size() * 3 / 4);
    test::writeFile(folder / (name + "-cut"), bytes);
}

} // namespace

int main(int count, char** arguments) {
    try {
        for (int i = 2; i < count; ++i)
            writeSeeds(arguments[1], arguments[i]);
    } catch (const std::exception& error) {
        std::fprintf(stderr, "mxf_seeds: %s\n", error.what());
        return 1;
    }
    return 0;
}
