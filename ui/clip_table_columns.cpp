// SPDX-License-Identifier: GPL-3.0-or-later
// The columns of ClipTable: their widths and places, what the user makes of them, and the orders they give.
#include <QAction>
#include <QActionGroup>
#include <QApplication>
#include <QHeaderView>
#include <QMenu>
#include <QStyle>
#include <algorithm>
#include <utility>

#include "ui/clip_delegate.h"
#include "ui/clip_table.h"

namespace ui {

namespace {

constexpr QLatin1String columnsKey("columns");
constexpr int nameColumn = static_cast<int>(ClipColumn::name);
constexpr int statusColumn = static_cast<int>(ClipColumn::status);

} // namespace

void ClipTable::setUpColumns() {
    // What a cell has beside its text, or the header beside a title.
    const int margin = 2 * std::max(style()->pixelMetric(QStyle::PM_FocusFrameHMargin, nullptr, this) + 1 +
                                        ClipDelegate::cellPadding,
                                    style()->pixelMetric(QStyle::PM_HeaderMargin, nullptr, this));
    widths_ = columnWidths(font(), margin);
    header()->setSectionsMovable(true);
    header()->setFirstSectionMovable(false);
    header()->setSectionResizeMode(QHeaderView::Interactive);
    header()->setMinimumSectionSize(std::ranges::min(widths_, {}, &ColumnWidth::least).least);
    header()->setStretchLastSection(false);
    statusWidth_ = widths_[static_cast<std::size_t>(statusColumn)].ideal;
    for (int column = 0; column < clipColumnCount; ++column)
        header()->resizeSection(column, widths_[static_cast<std::size_t>(column)].ideal);
    restoreColumns();
    // Each launch begins in the file browser's order, to which the third click on a header leads back.
    header()->setSortIndicatorClearable(true);
    header()->setSortIndicator(-1, Qt::AscendingOrder);
    setSortingEnabled(true);

    keeping_.setSingleShot(true);
    keeping_.setInterval(500);
    connect(&keeping_, &QTimer::timeout, this, &ClipTable::keepColumns);
    connect(header(), &QHeaderView::sectionMoved, this, [this] { keeping_.start(); });
    connect(header(), &QHeaderView::sectionResized, this, [this](int column, int, int width) {
        limitWidth(column, width);
        // Only what the user does by hand is a choice: some columns also follow the window.
        if (!fitting_ && QApplication::mouseButtons() != Qt::NoButton && header()->underMouse()) {
            keeping_.start();
            if (column == statusColumn)
                statusWidth_ = header()->sectionSize(column);
        }
        fitColumns();
    });
    header()->setContextMenuPolicy(Qt::CustomContextMenu);
    connect(header(), &QWidget::customContextMenuRequested, this, [this](const QPoint& position) {
        QMenu menu(this);
        addColumnSwitches(menu);
        menu.exec(header()->mapToGlobal(position));
    });
}

void ClipTable::restoreColumns() {
    const QByteArray state = settings_.value(columnsKey).toByteArray();
    if (state.isEmpty() || !header()->restoreState(state))
        return;
    // The font, or the settings file, may not be the one of then.
    header()->setSectionHidden(nameColumn, false);
    if (header()->visualIndex(nameColumn) != 0)
        header()->moveSection(header()->visualIndex(nameColumn), 0);
    header()->setSectionsMovable(true);
    header()->setFirstSectionMovable(false);
    header()->setSectionsClickable(true);
    header()->setStretchLastSection(false);
    for (int column = 0; column < clipColumnCount; ++column)
        if (!header()->isSectionHidden(column))
            limitWidth(column, header()->sectionSize(column));
}

void ClipTable::keepColumns() {
    settings_.setValue(columnsKey, header()->saveState());
}

void ClipTable::limitWidth(int column, int width) {
    const ColumnWidth& limits = widths_[static_cast<std::size_t>(column)];
    // A hidden column has no width.
    const int allowed = width == 0 ? 0 : std::clamp(width, limits.least, limits.most);
    if (allowed != width)
        header()->resizeSection(column, allowed);
}

/// Status takes what is left of the window. Until the user has set the columns, the name gives way
/// where that makes room for a remark.
void ClipTable::fitColumns() {
    if (std::exchange(fitting_, true))
        return;
    const auto isShown = [this](int column) { return !header()->isSectionHidden(column); };
    int taken = 0;
    for (int column = 0; column < clipColumnCount; ++column)
        if (column != statusColumn && isShown(column))
            taken += header()->sectionSize(column);
    if (!settings_.contains(columnsKey) && !keeping_.isActive()) {
        const ColumnWidth& name = widths_[static_cast<std::size_t>(nameColumn)];
        taken -= header()->sectionSize(nameColumn);
        constexpr int remark = 28; // characters
        const int readable = remark * fontMetrics().averageCharWidth();
        const int room = viewport()->width() - taken - readable;
        header()->resizeSection(nameColumn, room < name.least ? name.ideal : std::min(room, name.ideal));
        taken += header()->sectionSize(nameColumn);
    }
    if (isShown(statusColumn))
        header()->resizeSection(statusColumn, std::max(statusWidth_, viewport()->width() - taken));
    fitting_ = false;
}

void ClipTable::resetColumns() {
    keeping_.stop();
    settings_.remove(columnsKey);
    statusWidth_ = widths_[static_cast<std::size_t>(statusColumn)].ideal;
    for (int column = 0; column < clipColumnCount; ++column) {
        header()->setSectionHidden(column, false);
        header()->moveSection(header()->visualIndex(column), column);
        header()->resizeSection(column, widths_[static_cast<std::size_t>(column)].ideal);
    }
    keeping_.stop(); // what moved was not moved by hand
    fitColumns();
}

void ClipTable::addColumnSwitches(QMenu& menu) {
    for (int column = 0; column < clipColumnCount; ++column) {
        if (column == nameColumn)
            continue;
        QAction* const show = menu.addAction(title(static_cast<ClipColumn>(column)));
        show->setCheckable(true);
        show->setChecked(!header()->isSectionHidden(column));
        connect(show, &QAction::toggled, this, [this, column](bool shown) {
            header()->setSectionHidden(column, !shown);
            if (shown && header()->sectionSize(column) == 0)
                header()->resizeSection(column, widths_[static_cast<std::size_t>(column)].ideal);
            keepColumns();
            fitColumns();
        });
    }
    menu.addSeparator();
    menu.addAction(tr("Reset Columns"), this, &ClipTable::resetColumns);
}

void ClipTable::addOrders(QMenu& menu) {
    auto* const group = new QActionGroup(&menu);
    const auto add = [&](const QString& text, int column) {
        QAction* const order = menu.addAction(text);
        order->setCheckable(true);
        order->setActionGroup(group);
        order->setChecked(header()->sortIndicatorSection() == column);
        // As with clicks: the same one again turns the order round.
        connect(order, &QAction::triggered, this, [this, column] {
            const bool again = header()->sortIndicatorSection() == column;
            const bool wasAscending = header()->sortIndicatorOrder() == Qt::AscendingOrder;
            header()->setSortIndicator(column,
                                       again && wasAscending ? Qt::DescendingOrder : Qt::AscendingOrder);
        });
    };
    add(tr("Folder Order"), -1);
    menu.addSeparator();
    for (int column = 0; column < clipColumnCount; ++column)
        add(title(static_cast<ClipColumn>(column)), column);
}

} // namespace ui
