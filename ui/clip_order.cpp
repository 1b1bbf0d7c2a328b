// SPDX-License-Identifier: GPL-3.0-or-later
#include "ui/clip_order.h"

#include <algorithm>
#include <cmath>
#include <cstdlib>
#include <optional>
#include <span>
#include <string>
#include <utility>

namespace ui {

namespace {

using Value = std::optional<std::pair<double, std::string>>;

double statusRank(const model::Row& row) {
    if (row.needsLook())
        return 0;
    return row.progress() ? 1 : row.result() ? 2 : 3;
}

Value value(const model::Row& row, ClipColumn column) {
    const auto number = [](double value) -> Value {
        return std::isfinite(value) ? Value({value, {}}) : std::nullopt;
    };
    if (column == ClipColumn::size)
        return number(static_cast<double>(row.clip().size));
    if (column == ClipColumn::status)
        return number(statusRank(row));
    if (!row.header())
        return std::nullopt;
    const ClipHeader& header = *row.header();
    switch (column) {
    case ClipColumn::date:
        return header.date ? number(std::chrono::duration<double>(header.date->time_since_epoch()).count())
                           : std::nullopt;
    case ClipColumn::length:
        return number(header.duration);
    case ClipColumn::timecode:
        return header.range() ? Value({0, *header.range()}) : std::nullopt;
    case ClipColumn::fps:
        return header.fps ? number(*header.fps) : std::nullopt;
    case ClipColumn::resolution: // by its width, then its height
        return header.resolution ? Value({std::strtod(header.resolution->c_str(), nullptr),
                                          header.resolution->substr(header.resolution->find(' ') + 1)})
                                 : std::nullopt;
    default:
        return std::nullopt;
    }
}

void sortClips(std::vector<model::Node>& nodes, const ClipOrder& order) {
    if (order.column == ClipColumn::name) {
        if (order.direction == Qt::DescendingOrder)
            std::ranges::reverse(nodes);
        return;
    }
    // Not the ranges' own: clang 14 can't read them.
    const std::span<model::Node> clips(
        std::stable_partition(nodes.begin(), nodes.end(), [](const model::Node& node) { return !node.row; }),
        nodes.end());
    std::vector<std::pair<Value, model::Node>> keyed;
    keyed.reserve(clips.size());
    for (model::Node& node : clips) {
        Value key = value(*node.row, order.column);
        keyed.emplace_back(std::move(key), std::move(node));
    }
    std::ranges::stable_sort(keyed, [&](const auto& a, const auto& b) {
        if (!a.first || !b.first)
            return a.first.has_value() && !b.first.has_value();
        return order.direction == Qt::AscendingOrder ? *a.first < *b.first : *b.first < *a.first;
    });
    std::ranges::transform(keyed, clips.begin(), [](auto& pair) { return std::move(pair.second); });
}

} // namespace

std::vector<model::Node> ordered(const std::vector<model::Node>& nodes, const ClipOrder& order) {
    std::vector<model::Node> shown;
    for (const model::Node& node : nodes) {
        if (node.row) {
            if (!order.onlyProblems || node.row->needsLook())
                shown.push_back(node);
            continue;
        }
        model::Node folder{node.id, node.name, nullptr,
                           ordered(node.children.value_or(std::vector<model::Node>()), order)};
        if (!order.onlyProblems || !folder.children->empty())
            shown.push_back(std::move(folder));
    }
    sortClips(shown, order);
    return shown;
}

} // namespace ui
