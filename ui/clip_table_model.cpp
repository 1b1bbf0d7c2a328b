// SPDX-License-Identifier: GPL-3.0-or-later
#include "ui/clip_table_model.h"

#include <algorithm>
#include <map>
#include <utility>

#include "model/text.h"
#include "ui/clip_table_item.h"
#include "ui/format.h"
#include "ui/icons.h"

namespace ui {

ClipTableModel::ClipTableModel(model::PackModel& model, QObject* parent)
    : QAbstractItemModel(parent), model_(model), root_(std::make_unique<Item>()) {
    constexpr std::chrono::milliseconds frame(16);
    telling_.setSingleShot(true);
    telling_.setInterval(frame);
    connect(&telling_, &QTimer::timeout, this, &ClipTableModel::tellChanges);
    connect(&model, &model::PackModel::rowsChanged, this, &ClipTableModel::synchronize);
    connect(&model, &model::PackModel::rowChanged, this, &ClipTableModel::rowChanged);
    connect(&model, &model::PackModel::packingChanged, this, [this] {
        // "Ready" becomes "Waiting" and back.
        for (const auto& [row, item] : items_)
            changed(*item);
        if (order_.column == ClipColumn::status)
            orderSoon();
    });
    constexpr std::chrono::milliseconds calm(250); // lines that wander all the time can't be read
    ordering_.setSingleShot(true);
    ordering_.setInterval(calm);
    connect(&ordering_, &QTimer::timeout, this, &ClipTableModel::synchronize);
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

QModelIndexList ClipTableModel::indexes(const model::PathSet& ids) const {
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

void ClipTableModel::sort(int column, Qt::SortOrder direction) {
    order_.column = column < 0 ? ClipColumn::name : static_cast<ClipColumn>(column);
    order_.direction = column < 0 ? Qt::AscendingOrder : direction;
    synchronize();
}

void ClipTableModel::setOnlyProblems(bool only) {
    if (std::exchange(order_.onlyProblems, only) == only)
        return;
    synchronize();
    Q_EMIT onlyProblemsChanged(only);
}

void ClipTableModel::orderSoon() {
    if (!ordering_.isActive())
        ordering_.start();
}

int ClipTableModel::problems() const {
    return root_->problems;
}

/// Walks around the list, through collapsed folders too.
QModelIndex ClipTableModel::problem(const QModelIndex& from, bool forward) const {
    std::vector<const Item*> lines;
    const auto collect = [&](const Item& parent, const auto& again) -> void {
        for (const auto& child : parent.children) {
            lines.push_back(child.get());
            again(*child, again);
        }
    };
    collect(*root_, collect);
    if (!forward)
        std::ranges::reverse(lines);
    if (from.isValid())
        std::rotate(lines.begin(), std::next(std::ranges::find(lines, &item(from))), lines.end());
    const auto found = std::ranges::find_if(
        lines, [](const Item* line) { return line->row != nullptr && line->problems > 0; });
    return found != lines.end() ? indexOf(**found) : QModelIndex();
}

model::PathSet ClipTableModel::shownClips(const model::PathSet& ids) const {
    model::PathSet clips;
    const auto take = [&](const Item& parent, bool all, const auto& again) -> void {
        for (const auto& child : parent.children) {
            const bool taken = all || ids.contains(child->id());
            if (taken && child->row)
                clips.insert(child->id());
            again(*child, taken, again);
        }
    };
    take(*root_, false, take);
    return clips;
}

/// Counts the problems below an item anew.
void ClipTableModel::recount(Item& item) {
    if (item.row)
        return;
    const auto before = item.counts();
    item.problems = item.asAsked = 0;
    for (const auto& child : item.children) {
        recount(*child);
        item.problems += child->problems;
        item.asAsked += child->asAsked;
    }
    if (item.counts() != before)
        changed(item);
}

void ClipTableModel::rowChanged(const std::shared_ptr<model::Row>& row) {
    const auto found = items_.find(row.get());
    if (found == items_.end()) {
        if (order_.onlyProblems && row->needsLook())
            orderSoon();
        return; // not shown, or taken off the list while it was being read
    }
    Item& item = *found->second;
    changed(item);
    if (order_.column > ClipColumn::name && order_.column < ClipColumn::status && !model_.packing())
        orderSoon();
    const auto [problems, asAsked] = item.counts();
    item.problems = row->needsLook() ? 1 : 0;
    item.asAsked = row->isAsAsked() ? 1 : 0;
    if (item.counts() == std::pair(problems, asAsked))
        return;
    for (Item* folder = item.parent; folder != nullptr; folder = folder->parent) {
        folder->problems += item.problems - problems;
        folder->asAsked += item.asAsked - asAsked;
        changed(*folder);
    }
    if (item.problems != problems) {
        if (order_.onlyProblems)
            orderSoon();
        Q_EMIT problemsChanged();
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

StatusCell ClipTableModel::status(const Item& item) const {
    if (item.row)
        return statusCell(*item.row, model_);
    std::vector<std::shared_ptr<model::Row>> problems;
    problems.reserve(static_cast<std::size_t>(item.problems));
    const auto collect = [&](const Item& folder, const auto& again) -> void {
        for (const auto& child : folder.children)
            if (child->row && child->problems > 0)
                problems.push_back(child->row);
            else if (child->problems > 0)
                again(*child, again);
    };
    collect(item, collect);
    return statusCell(problems, item.asAsked, model_);
}

QString ClipTableModel::display(const Item& item, ClipColumn column) const {
    if (column == ClipColumn::status)
        return status(item).text;
    if (item.row)
        return cellText(*item.row, column);
    return column == ClipColumn::name   ? model::text(item.name)
           : column == ClipColumn::size ? QStringLiteral("--")
                                        : QString();
}

QVariant ClipTableModel::data(const QModelIndex& index, int role) const {
    const Item& line = item(index);
    const auto column = static_cast<ClipColumn>(index.column());
    switch (role) {
    case Qt::DisplayRole:
        return display(line, column);
    case Qt::DecorationRole:
        if (column == ClipColumn::name)
            return line.row ? Icons::clip(model::text(line.row->clip().fileName())) : Icons::folder();
        return {};
    case Qt::ToolTipRole: {
        if (column != ClipColumn::name && column != ClipColumn::status)
            return {};
        QString tip = status(line).toolTip;
        if (column == ClipColumn::name) // Status may be out of view
            tip = tip.isEmpty() ? model::text(line.name) : model::text(line.name) + QLatin1Char('\n') + tip;
        return tip.isEmpty() ? QVariant() : Format::toolTip(tip);
    }
    case Qt::AccessibleTextRole:
        if (column == ClipColumn::status && status(line).look == StatusLook::warning)
            return tr("Problem: %1").arg(status(line).text);
        return display(line, column);
    case Qt::TextAlignmentRole:
        if (column == ClipColumn::length || column == ClipColumn::size || column == ClipColumn::fps)
            return QVariant::fromValue(Qt::AlignTrailing | Qt::AlignVCenter);
        return QVariant::fromValue(Qt::AlignLeading | Qt::AlignVCenter);
    case statusRole:
        return column == ClipColumn::status ? QVariant(static_cast<int>(status(line).look)) : QVariant();
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

} // namespace ui
