// SPDX-License-Identifier: GPL-3.0-or-later
#include "model/node.h"

#include <algorithm>
#include <string_view>
#include <unordered_map>
#include <utility>

namespace model {

namespace {

using Rows = std::vector<std::shared_ptr<Row>>;

/// The source folder that corresponds to the pack folder `levels` above the clip.
std::filesystem::path above(const std::filesystem::path& source, std::size_t levels) {
    std::filesystem::path folder = source;
    for (; levels > 0; --levels)
        folder = folder.parent_path();
    return folder;
}

std::vector<Node> level(const Rows& rows, std::size_t depth, const platform::TextOrder& order) {
    std::vector<std::pair<std::string, Node>> lines;
    std::unordered_map<std::string_view, Rows> folders;
    std::vector<std::string_view> folderNames; // in the order of their first rows
    for (const auto& row : rows) {
        if (row->components().size() <= depth + 1) {
            lines.emplace_back(row->nameKey(), Node{row->id(), row->clip().name(), row, std::nullopt});
        } else {
            Rows& members = folders[row->components()[depth]];
            if (members.empty())
                folderNames.push_back(row->components()[depth]);
            members.push_back(row);
        }
    }
    for (const std::string_view name : folderNames) {
        const Rows& members = folders[name];
        const Row& first = *members.front();
        lines.emplace_back(sortKey(order, name),
                           Node{above(first.clip().source, first.components().size() - 1 - depth),
                                std::string(name), nullptr, level(members, depth + 1, order)});
    }
    std::ranges::stable_sort(lines, {}, &std::pair<std::string, Node>::first);

    std::vector<Node> nodes;
    nodes.reserve(lines.size());
    for (auto& [key, node] : lines)
        nodes.push_back(std::move(node));
    return nodes;
}

void collect(const Node& node, Rows& rows) {
    if (node.row)
        rows.push_back(node.row);
    if (node.children)
        for (const Node& child : *node.children)
            collect(child, rows);
}

} // namespace

std::vector<std::shared_ptr<Row>> Node::clips() const {
    Rows rows;
    collect(*this, rows);
    return rows;
}

std::vector<Node> tree(const std::vector<std::shared_ptr<Row>>& rows, const platform::TextOrder& order) {
    return level(rows, 0, order);
}

} // namespace model
