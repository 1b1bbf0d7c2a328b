// SPDX-License-Identifier: GPL-3.0-or-later
// A border over the window's content while files are dragged over it.
#pragma once

#include <QWidget>

namespace ui {

/// Covers its parent and follows its size; takes no mouse events.
class DropHighlight : public QWidget {
    Q_OBJECT

  public:
    explicit DropHighlight(QWidget* parent);

  protected:
    void paintEvent(QPaintEvent* event) override;
    bool eventFilter(QObject* watched, QEvent* event) override;
};

} // namespace ui
