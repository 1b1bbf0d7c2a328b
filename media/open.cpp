// SPDX-License-Identifier: GPL-3.0-or-later
#include "media/open.h"

#include <array>
#include <utility>

#include "media/base/error.h"
#include "media/mxf/mxf_container.h"
#include "media/quicktime/reader/quicktime_container.h"
#include "media/track/bounds.h"

namespace media {

namespace {

/// A container format: does it know a file by its first bytes, and how does it open one.
struct Format {
    bool (*recognises)(const io::ByteSource&);
    std::unique_ptr<Container> (*open)(std::shared_ptr<const io::ByteSource>);
};

constexpr std::array formats{
    Format{quicktime::recognises, quicktime::open},
    Format{mxf::recognises, mxf::open},
};

} // namespace

std::unique_ptr<Container> openContainer(std::shared_ptr<const io::ByteSource> source) {
    if (source->size() == 0)
        throw Error(Error::Category::endOfData, "The file is empty.");
    for (const Format& format : formats)
        if (format.recognises(*source)) {
            const std::uint64_t size = source->size();
            auto container = format.open(std::move(source));
            checkTimeline(*container, size);
            return container;
        }
    throw Error(Error::Category::unsupported, "The file is of a kind that can't be read here.");
}

Asset openAsset(std::shared_ptr<const io::ByteSource> source) {
    std::shared_ptr<const Container> container = openContainer(source);
    return {std::move(source), std::move(container)};
}

Asset openAsset(const std::filesystem::path& path) {
    return openAsset(io::openFile(path));
}

} // namespace media
