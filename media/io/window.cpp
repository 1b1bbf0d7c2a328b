// SPDX-License-Identifier: GPL-3.0-or-later
#include "media/io/window.h"

#include <algorithm>

#include "media/base/byte_reader.h"

namespace media::io {

bool Window::holds(std::uint64_t offset, std::size_t count) const noexcept {
    return offset >= bufferBegin_ && offset - bufferBegin_ <= buffer_.size() &&
           count <= buffer_.size() - static_cast<std::size_t>(offset - bufferBegin_);
}

std::span<const std::byte> Window::held(std::uint64_t offset, std::size_t count) const {
    return std::span(buffer_).subspan(static_cast<std::size_t>(offset - bufferBegin_), count);
}

std::span<const std::byte> Window::at(std::uint64_t offset, std::size_t count) {
    if (!holds(offset, count)) {
        if (offset < begin_ || offset > end_ || count > end_ - offset)
            endsEarly();
        const auto wanted =
            static_cast<std::size_t>(std::min<std::uint64_t>(std::max(count, size_), end_ - offset));
        buffer_.resize(wanted);
        bufferBegin_ = offset;
        try {
            source_->readAt(offset, buffer_);
        } catch (...) {
            buffer_.clear();
            throw;
        }
    }
    return held(offset, count);
}

std::span<const std::byte> Window::upTo(std::uint64_t offset, std::size_t count) {
    if (offset >= end_)
        return {};
    return at(offset, static_cast<std::size_t>(std::min<std::uint64_t>(count, end_ - offset)));
}

void Window::copy(std::uint64_t offset, std::span<std::byte> out) const {
    if (holds(offset, out.size()))
        std::ranges::copy(held(offset, out.size()), out.begin());
    else
        source_->readAt(offset, out);
}

} // namespace media::io
