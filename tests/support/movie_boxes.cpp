// SPDX-License-Identifier: GPL-3.0-or-later
#include "tests/support/movie_boxes.h"

#include <fstream>
#include <span>
#include <stdexcept>

namespace test {
namespace {

std::uint64_t number(std::span<const std::byte> bytes, std::size_t offset, std::size_t size) {
    if (offset + size > bytes.size())
        throw std::out_of_range("box");
    std::uint64_t value = 0;
    for (const std::byte byte : bytes.subspan(offset, size))
        value = value << 8 | std::to_integer<std::uint64_t>(byte);
    return value;
}

struct Box {
    std::string type;
    std::uint64_t content;
    std::uint64_t end;
};

/// The boxes of `size` bytes that `read` gives.
template <typename Read>
std::vector<Box> boxesOf(std::uint64_t size, Read read) {
    std::vector<Box> boxes;
    for (std::uint64_t at = 0; at + 8 <= size;) {
        const Bytes head = read(at, std::min<std::uint64_t>(16, size - at));
        std::uint64_t length = number(head, 0, 4);
        const std::uint64_t header = length == 1 ? 16 : 8;
        if (length == 1)
            length = number(head, 8, 8);
        if (length < header || length > size - at)
            throw std::runtime_error("a box of a wrong size");
        std::string type;
        for (std::size_t i = 4; i < 8; ++i)
            type += static_cast<char>(head[i]);
        boxes.push_back({type, at + header, at + length});
        at += length;
    }
    return boxes;
}

std::vector<Box> topLevel(const std::filesystem::path& movie) {
    return boxesOf(std::filesystem::file_size(movie), [&](std::uint64_t at, std::uint64_t count) {
        return bytesAt(movie, at, static_cast<std::size_t>(count));
    });
}

/// Takes "trak[1]" off the front of "trak[1]/mdia".
std::pair<std::string, std::size_t> takeStep(std::string& path) {
    const std::size_t slash = path.find('/');
    std::string step = path.substr(0, slash);
    path = slash == std::string::npos ? std::string() : path.substr(slash + 1);
    std::size_t index = 0;
    if (const std::size_t bracket = step.find('['); bracket != std::string::npos) {
        index = std::stoul(step.substr(bracket + 1));
        step.resize(bracket);
    }
    return {step, index};
}

const Box* find(const std::vector<Box>& boxes, const std::pair<std::string, std::size_t>& step) {
    std::size_t index = 0;
    for (const Box& box : boxes)
        if (box.type == step.first && index++ == step.second)
            return &box;
    return nullptr;
}

} // namespace

std::optional<Bytes> box(const std::filesystem::path& movie, const std::string& path) {
    std::string rest = path;
    const auto top = topLevel(movie);
    const Box* found = find(top, takeStep(rest));
    if (found == nullptr)
        return std::nullopt;
    Bytes content = bytesAt(movie, found->content, static_cast<std::size_t>(found->end - found->content));
    while (!rest.empty()) {
        const auto inside = boxesOf(content.size(), [&](std::uint64_t at, std::uint64_t count) {
            const auto begin = content.begin() + static_cast<std::ptrdiff_t>(at);
            return Bytes(begin, begin + static_cast<std::ptrdiff_t>(count));
        });
        found = find(inside, takeStep(rest));
        if (found == nullptr)
            return std::nullopt;
        content = Bytes(content.begin() + static_cast<std::ptrdiff_t>(found->content),
                        content.begin() + static_cast<std::ptrdiff_t>(found->end));
    }
    return content;
}

std::vector<std::string> topLevelBoxes(const std::filesystem::path& movie) {
    std::vector<std::string> types;
    for (const Box& box : topLevel(movie))
        types.push_back(box.type);
    return types;
}

Bytes bytesAt(const std::filesystem::path& file, std::uint64_t offset, std::size_t count) {
    std::ifstream stream(file, std::ios::binary);
    stream.seekg(static_cast<std::streamoff>(offset));
    std::string text(count, '\0');
    stream.read(text.data(), static_cast<std::streamsize>(count));
    if (!stream)
        throw std::runtime_error("can't read " + file.string());
    const auto bytes = std::as_bytes(std::span(text));
    return {bytes.begin(), bytes.end()};
}

HeaderTimes headerTimes(const Bytes& header) {
    if (number(header, 0, 1) == 1)
        return {number(header, 20, 4), number(header, 24, 8)};
    return {number(header, 12, 4), number(header, 16, 4)};
}

std::vector<ListedEdit> listedEdits(const Bytes& editList) {
    const bool wide = number(editList, 0, 1) == 1;
    std::vector<ListedEdit> edits(number(editList, 4, 4));
    for (std::size_t i = 0; i < edits.size(); ++i) {
        if (wide)
            edits[i] = {number(editList, 8 + 20 * i, 8),
                        static_cast<std::int64_t>(number(editList, 16 + 20 * i, 8))};
        else
            edits[i] = {number(editList, 8 + 12 * i, 4),
                        static_cast<std::int32_t>(number(editList, 12 + 12 * i, 4))};
    }
    return edits;
}

std::vector<std::uint32_t> numbers(const Bytes& table) {
    std::vector<std::uint32_t> values;
    for (std::size_t at = 8; at < table.size(); at += 4)
        values.push_back(static_cast<std::uint32_t>(number(table, at, 4)));
    return values;
}

} // namespace test
