// SPDX-License-Identifier: GPL-3.0-or-later
#include "ui/clip_table_model.h"

#include <algorithm>
#include <map>
#include <set>
#include <tuple>
#include <utility>

#include "model/text.h"
#include "ui/clip_columns.h"
#include "ui/format.h"
#include "ui/icons.h"

/// A line. Folders know how many of the clips below them have a problem.
struct ClipTableModel::Item {
    Item* parent = nullptr;
    std::size_t place = 0;          ///< among the parent's children
    std::filesystem::path folder{}; ///< a clip's path is its row's
    std::string name{};
    std::shared_ptr<Row> row{};
    std::vector<std::unique_ptr<Item>> children{};
    int problems = 0; ///< of a clip: 0 or 1
    bool changed = false;

    [[nodiscard]] const std::filesystem::path& id() const { return row ? row->id() : folder; }
    [[nodiscard]] auto key() const {
        return std::tuple(row.get(), std::cref(id().native()), std::cref(name));
    }
};

namespace {

auto keyOf(const Node& node) {
    return std::tuple(static_cast<const Row*>(node.row.get()), std::cref(node.id.native()),
                      std::cref(node.name));
}

bool isSame(const auto& a, const auto& b) {
    return std::get<0>(a) == std::get<0>(b) && std::get<1>(a).get() == std::get<1>(b).get() &&
           std::get<2>(a).get() == std::get<2>(b).get();
}

struct KeyLess {
    bool operator()(const auto& a, const auto& b) const {
        if (std::get<0>(a) != std::get<0>(b))
            return std::less<const Row*>()(std::get<0>(a), std::get<0>(b));
        if (const int order = std::get<1>(a).get().compare(std::get<1>(b).get()); order != 0)
            return order < 0;
        return std::get<2>(a).get() < std::get<2>(b).get();
    }
};

} // namespace

ClipTableModel::ClipTableModel(PackModel& model, QObject* parent)
    : QAbstractItemModel(parent), model_(model), root_(std::make_unique<Item>()) {
    constexpr std::chrono::milliseconds frame(16);
    telling_.setSingleShot(true);
    telling_.setInterval(frame);
    connect(&telling_, &QTimer::timeout, this, &ClipTableModel::tellChanges);
    connect(&model, &PackModel::rowsChanged, this, &ClipTableModel::synchronize);
    connect(&model, &PackModel::rowChanged, this, &ClipTableModel::rowChanged);
    connect(&model, &PackModel::packingChanged, this, [this] {
        // "Ready" becomes "Waiting" and back.
        for (const auto& [row, item] : items_)
            changed(*item);
    });
    synchronize();
}

ClipTableModel::~ClipTableModel() = default;

ClipTableModel::Item& ClipTableModel::item(const QModelIndex& index) const {
    return index.isValid() ? *static_cast<Item*>(index.internalPointer()) : *root_;
}

QModelIndex ClipTableModel::indexOf(const Item& item, int column) const {
    return &item == root_.get() ? QModelIndex() : createIndex(static_cast<int>(item.place), column, &item);
}

const std::filesystem::path& ClipTableModel::id(const QModelIndex& index) const {
    return item(index).id();
}

bool ClipTableModel::isFolder(const QModelIndex& index) const {
    return !item(index).row;
}

QModelIndexList ClipTableModel::indexes(const PathSet& ids) const {
    QModelIndexList found;
    const auto look = [&](const Item& parent, const auto& again) -> void {
        for (const auto& child : parent.children) {
            if (ids.contains(child->id()))
                found.push_back(indexOf(*child));
            again(*child, again);
        }
    };
    if (!ids.empty())
        look(*root_, look);
    return found;
}

QModelIndex ClipTableModel::index(int row, int column, const QModelIndex& parent) const {
    if (!hasIndex(row, column, parent))
        return {};
    return createIndex(row, column, item(parent).children[static_cast<std::size_t>(row)].get());
}

QModelIndex ClipTableModel::parent(const QModelIndex& index) const {
    return index.isValid() ? indexOf(*item(index).parent) : QModelIndex();
}

int ClipTableModel::rowCount(const QModelIndex& parent) const {
    return parent.column() > 0 ? 0 : static_cast<int>(item(parent).children.size());
}

int ClipTableModel::columnCount(const QModelIndex&) const {
    return clipColumnCount;
}

void ClipTableModel::synchronize() {
    tellChanges(); // while the lines it is about are all there
    synchronizeLevel(*root_, model_.tree());
    recount(*root_);
    tellChanges();
    Q_EMIT synchronized();
}

void ClipTableModel::synchronizeLevel(Item& parent, const std::vector<Node>& nodes) {
    using NodeKey = decltype(keyOf(nodes.front()));
    std::set<NodeKey, KeyLess> wanted;
    for (const Node& node : nodes)
        wanted.insert(keyOf(node));
    const auto isWanted = [&](const auto& child) { return wanted.contains(child->key()); };

    // What stays keeps its order, as a rule; where it doesn't, the level is made anew.
    std::set<NodeKey, KeyLess> known;
    std::vector<const Item*> staying;
    for (const auto& child : parent.children)
        if (isWanted(child)) {
            staying.push_back(child.get());
            known.insert(child->key());
        }
    auto expected = staying.begin();
    bool inOrder = true;
    for (const Node& node : nodes)
        if (known.contains(keyOf(node)))
            inOrder = inOrder && expected != staying.end() && isSame((*expected++)->key(), keyOf(node));
    inOrder = inOrder && expected == staying.end();

    for (std::size_t end = parent.children.size(); end > 0;) {
        std::size_t first = end;
        while (first > 0 && !(inOrder && isWanted(parent.children[first - 1])))
            --first;
        if (first < end)
            remove(parent, first, end - first);
        end = first > 0 ? first - 1 : 0;
    }
    for (std::size_t place = 0; place < nodes.size(); ++place) {
        if (inOrder && known.contains(keyOf(nodes[place]))) {
            if (nodes[place].children)
                synchronizeLevel(*parent.children[place], *nodes[place].children);
            continue;
        }
        std::size_t end = place + 1;
        while (end < nodes.size() && !(inOrder && known.contains(keyOf(nodes[end]))))
            ++end;
        insert(parent, place, std::span(nodes).subspan(place, end - place));
        place = end - 1;
    }
}

void ClipTableModel::insert(Item& parent, std::size_t at, std::span<const Node> nodes) {
    beginInsertRows(indexOf(parent), static_cast<int>(at), static_cast<int>(at + nodes.size()) - 1);
    std::vector<std::unique_ptr<Item>> items;
    items.reserve(nodes.size());
    for (const Node& node : nodes)
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

std::unique_ptr<ClipTableModel::Item> ClipTableModel::makeItem(Item& parent, const Node& node) {
    auto made = std::make_unique<Item>(Item{.parent = &parent, .name = node.name, .row = node.row});
    if (node.row)
        items_[node.row.get()] = made.get();
    else
        made->folder = node.id;
    if (node.children)
        for (const Node& child : *node.children) {
            made->children.push_back(makeItem(*made, child));
            made->children.back()->place = made->children.size() - 1;
        }
    made->problems = node.row && node.row->problem() ? 1 : 0;
    for (const auto& child : made->children)
        made->problems += child->problems;
    return made;
}

void ClipTableModel::forget(const Item& item) {
    if (item.row)
        items_.erase(item.row.get());
    for (const auto& child : item.children)
        forget(*child);
}

/// Counts the problems below an item anew.
int ClipTableModel::recount(Item& item) {
    if (item.row)
        return item.problems;
    int problems = 0;
    for (const auto& child : item.children)
        problems += recount(*child);
    if (std::exchange(item.problems, problems) != problems)
        changed(item);
    return problems;
}

void ClipTableModel::rowChanged(const std::shared_ptr<Row>& row) {
    const auto found = items_.find(row.get());
    if (found == items_.end())
        return; // taken off the list while it was being read
    Item& item = *found->second;
    changed(item);
    const int problems = row->problem() ? 1 : 0;
    if (const int difference = problems - std::exchange(item.problems, problems); difference != 0)
        for (Item* folder = item.parent; folder != nullptr; folder = folder->parent) {
            folder->problems += difference;
            changed(*folder);
        }
}

void ClipTableModel::changed(Item& item) {
    if (&item == root_.get() || std::exchange(item.changed, true))
        return;
    changed_.push_back(&item);
    if (!telling_.isActive())
        telling_.start();
}

void ClipTableModel::tellChanges() {
    telling_.stop();
    std::map<const Item*, std::pair<std::size_t, std::size_t>> ranges; // of a parent's children
    for (Item* item : std::exchange(changed_, {})) {
        item->changed = false;
        const auto [range, isNew] = ranges.try_emplace(item->parent, item->place, item->place);
        range->second.first = std::min(range->second.first, item->place);
        range->second.second = std::max(range->second.second, item->place);
    }
    for (const auto& [parent, range] : ranges)
        Q_EMIT dataChanged(indexOf(*parent->children[range.first], static_cast<int>(ClipColumn::date)),
                           indexOf(*parent->children[range.second], static_cast<int>(ClipColumn::status)));
}

QString ClipTableModel::display(const Item& item, int column) const {
    const auto which = static_cast<ClipColumn>(column);
    if (which == ClipColumn::name)
        return text(item.name);
    if (which == ClipColumn::status)
        return status(item).second;
    if (!item.row)
        return which == ClipColumn::size ? QStringLiteral("--") : QString();
    if (which == ClipColumn::size)
        return byteCount(item.row->clip().size);
    if (!item.row->header())
        return {};
    const ClipHeader& header = *item.row->header();
    switch (which) {
    case ClipColumn::date:
        return header.date ? Format::date(*header.date) : QString();
    case ClipColumn::length:
        return Format::length(header.duration);
    case ClipColumn::timecode:
        return text(header.range().value_or(std::string()));
    case ClipColumn::fps:
        return header.fps ? Format::rate(*header.fps) : QString();
    case ClipColumn::resolution:
        return text(header.resolution.value_or(std::string()));
    default:
        return {};
    }
}

std::pair<ClipTableModel::Status, QString> ClipTableModel::status(const Item& item) const {
    if (!item.row) {
        if (item.problems == 0)
            return {Status::plain, QString()};
        return {Status::warning, item.problems == 1 ? tr("1 clip with a problem")
                                                    : tr("%1 clips with problems").arg(item.problems)};
    }
    const Row& row = *item.row;
    if (row.headerError())
        return {Status::warning, *row.headerError()};
    if (row.progress())
        return {Status::progress, tr("%1%").arg(static_cast<int>(*row.progress() * 100))};
    if (row.result()) {
        if (const auto* failure = std::get_if<PackFailure>(&*row.result()))
            return {Status::warning, text(failure->description)};
        const auto& result = std::get<PackResult>(*row.result());
        // What a stopped or failed export wrote is gone: only its remarks still hold.
        const QString size = byteCount(result.packSize);
        if (result.notes.empty())
            return {Status::secondary, model_.resultsStand() ? size : tr("Ready")};
        QStringList notes;
        for (const std::string& note : result.notes)
            notes << text(note);
        const QString remarks = notes.join(QStringLiteral("; "));
        return {Status::warning, model_.resultsStand() ? size + QStringLiteral(": ") + remarks : remarks};
    }
    if (model_.packing())
        return {Status::secondary, tr("Waiting")};
    return {Status::secondary, row.header() ? tr("Ready") : tr("Reading…")};
}

QString ClipTableModel::statusToolTip(const Item& item) const {
    const auto [kind, shown] = status(item);
    if (!item.row || kind != Status::warning)
        return {};
    const Row& row = *item.row;
    // What the text leaves out stands below it.
    const auto withReason = [&](const QString& reason) {
        return reason.isEmpty() ? shown : shown + QLatin1Char('\n') + reason;
    };
    if (row.headerError())
        return withReason(row.headerReason());
    if (row.result()) {
        if (const auto* failure = std::get_if<PackFailure>(&*row.result()))
            return withReason(text(failure->reason));
        if (const auto* result = std::get_if<PackResult>(&*row.result())) {
            QStringList notes;
            for (const std::string& note : result->notes)
                notes << text(note);
            return notes.join(QLatin1Char('\n'));
        }
    }
    return shown;
}

QVariant ClipTableModel::data(const QModelIndex& index, int role) const {
    const Item& line = item(index);
    const auto column = static_cast<ClipColumn>(index.column());
    switch (role) {
    case Qt::DisplayRole:
        return display(line, index.column());
    case Qt::DecorationRole:
        if (column == ClipColumn::name)
            return line.row ? Icons::clip(fileName(line.id())) : Icons::folder();
        return {};
    case Qt::ToolTipRole: {
        const QString tip = column == ClipColumn::name     ? text(line.name)
                            : column == ClipColumn::status ? statusToolTip(line)
                                                           : QString();
        return tip.isEmpty() ? QVariant() : Format::toolTip(tip);
    }
    case Qt::AccessibleTextRole:
        if (column == ClipColumn::status && status(line).first == Status::warning)
            return tr("Problem: %1").arg(status(line).second);
        return display(line, index.column());
    case Qt::TextAlignmentRole:
        if (column == ClipColumn::length || column == ClipColumn::size || column == ClipColumn::fps)
            return QVariant::fromValue(Qt::AlignTrailing | Qt::AlignVCenter);
        return QVariant::fromValue(Qt::AlignLeading | Qt::AlignVCenter);
    case statusRole:
        return column == ClipColumn::status ? QVariant(static_cast<int>(status(line).first)) : QVariant();
    case progressRole:
        return line.row && line.row->progress() ? QVariant(*line.row->progress()) : QVariant();
    default:
        return {};
    }
}

QVariant ClipTableModel::headerData(int section, Qt::Orientation orientation, int role) const {
    if (orientation != Qt::Horizontal)
        return {};
    if (role == Qt::DisplayRole)
        return title(static_cast<ClipColumn>(section));
    if (role == Qt::TextAlignmentRole)
        return data(createIndex(0, section, root_.get()), Qt::TextAlignmentRole);
    return {};
}
