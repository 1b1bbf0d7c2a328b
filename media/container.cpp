// SPDX-License-Identifier: GPL-3.0-or-later
#include "media/container.h"

#include <algorithm>
#include <array>
#include <utility>

#include "media/bounds.h"
#include "media/mxf/mxf_container.h"
#include "media/quicktime/quicktime_container.h"

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

std::int64_t Track::firstShown() const {
    const auto shown = std::ranges::find_if(edits, [](const Edit& edit) { return edit.mediaTime >= 0; });
    return shown != edits.end() ? shown->mediaTime : 0;
}

Time Track::end() const {
    return edits.empty() ? Time{} : edits.back().start + edits.back().duration;
}

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

} // namespace media
