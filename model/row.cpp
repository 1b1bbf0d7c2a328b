// SPDX-License-Identifier: GPL-3.0-or-later
#include "model/row.h"

#include <ranges>
#include <utility>

#include "model/path_set.h"

namespace model {

Row::Row(PackClip clip, const platform::TextOrder& order)
    : clip_(std::move(clip)), standardized_(standardized(clip_.source)),
      pathKey_(sortKey(order, clip_.packPath)), nameKey_(sortKey(order, clip_.name())) {
    const std::string_view path = clip_.packPath;
    for (std::size_t start = 0; start < path.size();) {
        const std::size_t end = std::min(path.find('/', start), path.size());
        if (end > start)
            components_.push_back(path.substr(start, end - start));
        start = end + 1;
    }
}

bool Row::problem() const {
    if (headerError_)
        return true;
    if (!result_)
        return false;
    const auto* packed = std::get_if<PackResult>(&*result_);
    return packed == nullptr || !packed->notes.empty();
}

std::string sortKey(const platform::TextOrder& order, std::string_view text) {
    // The collation key ends with a zero byte, after which equivalent texts are told apart.
    return order.key(text).append(1, '\0').append(text);
}

} // namespace model
