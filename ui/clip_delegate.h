// SPDX-License-Identifier: GPL-3.0-or-later
// Draws the cells of the clip table: equal digits, and the Status column's label or bar.
#pragma once

#include <QStyledItemDelegate>

namespace ui {

class ClipDelegate : public QStyledItemDelegate {
    Q_OBJECT

  public:
    using QStyledItemDelegate::QStyledItemDelegate;

    static constexpr int cellPadding = 4; ///< on both sides of a cell, beside the style's own

    void paint(QPainter* painter, const QStyleOptionViewItem& option,
               const QModelIndex& index) const override;
    QSize sizeHint(const QStyleOptionViewItem& option, const QModelIndex& index) const override;

  protected:
    void initStyleOption(QStyleOptionViewItem* option, const QModelIndex& index) const override;
};

} // namespace ui
