// SPDX-License-Identifier: GPL-3.0-or-later
#include "ui/clip_delegate.h"

#include <QApplication>
#include <QHeaderView>
#include <QPainter>
#include <QStyle>
#include <QTreeView>

#include "ui/clip_columns.h"
#include "ui/clip_table_model.h"
#include "ui/format.h"
#include "ui/icons.h"

namespace ui {

namespace {

constexpr int iconSide = 16;

QStyle* styleOf(const QStyleOptionViewItem& option) {
    return option.widget != nullptr ? option.widget->style() : QApplication::style();
}

StatusLook look(const QModelIndex& index) {
    const QVariant kind =
        index.siblingAtColumn(static_cast<int>(ClipColumn::status)).data(ClipTableModel::statusRole);
    return static_cast<StatusLook>(kind.toInt());
}

/// Whether enough of the Status column to tell of a problem is in a view.
bool isStatusInView(const QTreeView& view) {
    const int status = static_cast<int>(ClipColumn::status);
    const int begin = view.header()->sectionViewportPosition(status);
    return !view.header()->isSectionHidden(status) && begin >= 0 &&
           begin + 2 * iconSide <= view.viewport()->width();
}

/// Cameras count their clips in the first ten signs of a name or in the last four: these go last.
QString shortened(const QString& name, const QFontMetrics& metrics, int width) {
    constexpr int kept = 4;
    if (metrics.horizontalAdvance(name) <= width || name.size() <= kept)
        return name;
    const QString end = name.right(kept + (name[name.size() - kept].isLowSurrogate() ? 1 : 0));
    return metrics.elidedText(name.chopped(end.size()), Qt::ElideRight,
                              width - metrics.horizontalAdvance(end)) +
           end;
}

} // namespace

void ClipDelegate::initStyleOption(QStyleOptionViewItem* option, const QModelIndex& index) const {
    QStyledItemDelegate::initStyleOption(option, index);
    option->decorationSize = QSize(iconSide, iconSide);
    // Texts of neighbouring columns must not meet.
    if (index.column() != static_cast<int>(ClipColumn::name))
        option->rect.adjust(cellPadding, 0, -cellPadding, 0);
    switch (static_cast<ClipColumn>(index.column())) {
    case ClipColumn::name:
        if (const auto* view = qobject_cast<const QTreeView*>(option->widget);
            view != nullptr && !isStatusInView(*view) && look(index) == StatusLook::warning)
            option->icon = Icons::warning((option->state & QStyle::State_Selected) != 0
                                              ? option->palette.color(QPalette::HighlightedText)
                                              : Icons::orange(option->palette));
        break;
    case ClipColumn::length:
    case ClipColumn::timecode:
    case ClipColumn::fps:
    case ClipColumn::resolution:
        option->font = withEqualDigits(option->font);
        break;
    case ClipColumn::status: {
        const bool selected = (option->state & QStyle::State_Selected) != 0;
        switch (look(index)) {
        case StatusLook::warning: {
            const QColor colour =
                selected ? option->palette.color(QPalette::HighlightedText) : Icons::orange(option->palette);
            option->features |= QStyleOptionViewItem::HasDecoration;
            option->icon = Icons::warning(colour);
            option->palette.setColor(QPalette::Text, colour);
            break;
        }
        case StatusLook::secondary:
            option->palette.setColor(QPalette::Text, Icons::secondary(option->palette));
            break;
        case StatusLook::progress:
            option->text.clear();
            break;
        case StatusLook::plain:
            break;
        }
        break;
    }
    default:
        break;
    }
    if (option->direction == Qt::RightToLeft)
        option->text = Format::isolated(option->text);
}

void ClipDelegate::paint(QPainter* painter, const QStyleOptionViewItem& option,
                         const QModelIndex& index) const {
    // The selection's colour fills the padding too.
    QStyleOptionViewItem cell = option;
    initStyleOption(&cell, index);
    QStyleOptionViewItem whole = cell;
    whole.rect = option.rect;
    const QStyle* style = styleOf(option);
    const int margin = style->pixelMetric(QStyle::PM_FocusFrameHMargin, nullptr, option.widget) + 1;
    style->drawPrimitive(QStyle::PE_PanelItemViewItem, &whole, painter, option.widget);
    if (index.column() == static_cast<int>(ClipColumn::name)) {
        const QRect text = style->subElementRect(QStyle::SE_ItemViewItemText, &cell, option.widget);
        cell.text = shortened(cell.text, QFontMetrics(cell.font), text.width() - 2 * margin);
    }
    style->drawControl(QStyle::CE_ItemViewItem, &cell, painter, option.widget);
    if (index.column() != static_cast<int>(ClipColumn::status) || look(index) != StatusLook::progress)
        return;
    constexpr int widest = 240;
    QStyleOptionProgressBar bar;
    bar.initFrom(option.widget);
    bar.state |= QStyle::State_Horizontal | QStyle::State_Enabled;
    bar.direction = option.direction;
    if ((option.state & QStyle::State_Selected) != 0) {
        // On the selection's colour a bar of the same colour would not be seen.
        const QColor ground = option.palette.color(QPalette::Highlight);
        bar.palette.setColor(QPalette::Highlight, option.palette.color(QPalette::HighlightedText));
        constexpr int darker = 130;
        for (const auto role : {QPalette::Base, QPalette::Window, QPalette::Button})
            bar.palette.setColor(role, ground.darker(darker));
    }
    QRect rect = option.rect.adjusted(margin + cellPadding, 5, -margin - cellPadding, -5);
    rect.setWidth(qMin(rect.width(), widest));
    bar.rect = QStyle::visualRect(option.direction, option.rect, rect);
    bar.minimum = 0;
    bar.maximum = 1000;
    bar.progress = static_cast<int>(index.data(ClipTableModel::progressRole).toDouble() * 1000);
    bar.textVisible = false;
    style->drawControl(QStyle::CE_ProgressBar, &bar, painter, option.widget);
}

QSize ClipDelegate::sizeHint(const QStyleOptionViewItem& option, const QModelIndex& index) const {
    // A little air, the same in every row: the icon and the bar need it.
    constexpr int leastHeight = 24;
    const QSize hint = QStyledItemDelegate::sizeHint(option, index);
    return {hint.width() + 2 * cellPadding, qMax(hint.height() + 2, leastHeight)};
}

} // namespace ui
