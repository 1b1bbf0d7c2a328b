// SPDX-License-Identifier: GPL-3.0-or-later
// How ClipTableModel's lines follow the model's tree: what stays keeps its line, its expansion and selection.
#include <algorithm>
#include <functional>
#include <map>
#include <set>
#include <tuple>
#include <utility>

#include "ui/clip_table_item.h"

namespace ui {

namespace {

auto keyOf(const model::Node& node) {
    return std::tuple(static_cast<const model::Row*>(node.row.get()), std::cref(node.id.native()),
                      std::cref(node.name));
}

struct KeyLess {
    bool operator()(const auto& a, const auto& b) const {
        if (std::get<0>(a) != std::get<0>(b))
            return std::less<const model::Row*>()(std::get<0>(a), std::get<0>(b));
        if (const int order = std::get<1>(a).get().compare(std::get<1>(b).get()); order != 0)
            return order < 0;
        return std::get<2>(a).get() < std::get<2>(b).get();
    }
};

/// The places that these nodes have on their level.
auto places(const std::vector<model::Node>& nodes) {
    std::map<decltype(keyOf(nodes.front())), std::size_t, KeyLess> places;
    for (std::size_t place = 0; place < nodes.size(); ++place)
        places.emplace(keyOf(nodes[place]), place);
    return places;
}

} // namespace

void ClipTableModel::synchronize() {
    ordering_.stop();
    tellChanges(); // while the lines it is about are all there
    // Clips that have just come must be seen.
    if (model_.rows().size() > std::exchange(rowCount_, model_.rows().size()) || model_.rows().empty())
        if (std::exchange(order_.onlyProblems, false))
            Q_EMIT onlyProblemsChanged(false);
    if (order_.isTheTrees())
        follow(model_.tree());
    else
        follow(ordered(model_.tree(), order_));
    const int problems = root_->problems;
    recount(*root_);
    if (root_->problems != problems)
        Q_EMIT problemsChanged();
    tellChanges();
    Q_EMIT synchronized();
}

void ClipTableModel::follow(const std::vector<model::Node>& nodes) {
    if (!isInOrder(*root_, nodes)) {
        Q_EMIT layoutAboutToBeChanged();
        const QModelIndexList before = persistentIndexList();
        reorder(*root_, nodes);
        QModelIndexList after;
        for (const QModelIndex& index : before)
            after << indexOf(item(index), index.column());
        changePersistentIndexList(before, after);
        Q_EMIT layoutChanged();
    }
    synchronizeLevel(*root_, nodes);
}

/// Whether all that is shown and stays has the nodes' order.
bool ClipTableModel::isInOrder(const Item& parent, const std::vector<model::Node>& nodes) {
    const auto wanted = places(nodes);
    std::size_t least = 0;
    for (const auto& child : parent.children)
        if (const auto found = wanted.find(child->key()); found != wanted.end()) {
            const model::Node& node = nodes[found->second];
            if (found->second < least || (node.children && !isInOrder(*child, *node.children)))
                return false;
            least = found->second;
        }
    return true;
}

/// Gives what stays the nodes' order; what goes comes last.
void ClipTableModel::reorder(Item& parent, const std::vector<model::Node>& nodes) {
    const auto wanted = places(nodes);
    std::vector<std::pair<std::size_t, std::unique_ptr<Item>>> placed;
    for (auto& child : parent.children) {
        const auto found = wanted.find(child->key());
        if (found != wanted.end() && nodes[found->second].children)
            reorder(*child, *nodes[found->second].children);
        const std::size_t place = found != wanted.end() ? found->second : nodes.size();
        placed.emplace_back(place, std::move(child));
    }
    std::ranges::stable_sort(placed, {}, [](const auto& pair) { return pair.first; });
    for (std::size_t place = 0; place < placed.size(); ++place) {
        parent.children[place] = std::move(placed[place].second);
        parent.children[place]->place = place;
    }
}

/// Takes away and puts in; what stays has the nodes' order.
void ClipTableModel::synchronizeLevel(Item& parent, const std::vector<model::Node>& nodes) {
    const auto wanted = places(nodes);
    const auto stays = [&](const auto& child) { return wanted.contains(child->key()); };
    for (std::size_t end = parent.children.size(); end > 0;) {
        std::size_t first = end;
        while (first > 0 && !stays(parent.children[first - 1]))
            --first;
        if (first < end)
            remove(parent, first, end - first);
        end = first > 0 ? first - 1 : 0;
    }
    std::set<decltype(keyOf(nodes.front())), KeyLess> known;
    for (const auto& child : parent.children)
        known.insert(child->key());
    for (std::size_t place = 0; place < nodes.size(); ++place) {
        if (known.contains(keyOf(nodes[place]))) {
            if (nodes[place].children)
                synchronizeLevel(*parent.children[place], *nodes[place].children);
            continue;
        }
        std::size_t end = place + 1;
        while (end < nodes.size() && !known.contains(keyOf(nodes[end])))
            ++end;
        insert(parent, place, std::span(nodes).subspan(place, end - place));
        place = end - 1;
    }
}

void ClipTableModel::insert(Item& parent, std::size_t at, std::span<const model::Node> nodes) {
    beginInsertRows(indexOf(parent), static_cast<int>(at), static_cast<int>(at + nodes.size()) - 1);
    std::vector<std::unique_ptr<Item>> items;
    items.reserve(nodes.size());
    for (const model::Node& node : nodes)
        items.push_back(makeItem(parent, node));
    parent.children.insert(parent.children.begin() + static_cast<std::ptrdiff_t>(at),
                           std::make_move_iterator(items.begin()), std::make_move_iterator(items.end()));
    for (std::size_t place = at; place < parent.children.size(); ++place)
        parent.children[place]->place = place;
    endInsertRows();
}

void ClipTableModel::remove(Item& parent, std::size_t first, std::size_t count) {
    beginRemoveRows(indexOf(parent), static_cast<int>(first), static_cast<int>(first + count) - 1);
    const auto begin = parent.children.begin() + static_cast<std::ptrdiff_t>(first);
    const auto end = begin + static_cast<std::ptrdiff_t>(count);
    for (auto child = begin; child != end; ++child)
        forget(**child);
    parent.children.erase(begin, end);
    for (std::size_t place = first; place < parent.children.size(); ++place)
        parent.children[place]->place = place;
    endRemoveRows();
}

std::unique_ptr<ClipTableModel::Item> ClipTableModel::makeItem(Item& parent, const model::Node& node) {
    auto made = std::make_unique<Item>(Item{.parent = &parent, .name = node.name, .row = node.row});
    if (node.row)
        items_[node.row.get()] = made.get();
    else
        made->folder = node.id;
    if (node.children)
        for (const model::Node& child : *node.children) {
            made->children.push_back(makeItem(*made, child));
            made->children.back()->place = made->children.size() - 1;
        }
    made->problems = node.row && node.row->needsLook() ? 1 : 0;
    made->asAsked = node.row && node.row->isAsAsked() ? 1 : 0;
    for (const auto& child : made->children) {
        made->problems += child->problems;
        made->asAsked += child->asAsked;
    }
    return made;
}

void ClipTableModel::forget(const Item& item) {
    if (item.row)
        items_.erase(item.row.get());
    for (const auto& child : item.children)
        forget(*child);
}

} // namespace ui
