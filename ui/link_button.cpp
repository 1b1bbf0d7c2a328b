// SPDX-License-Identifier: GPL-3.0-or-later
#include "ui/link_button.h"

#include <QKeyEvent>
#include <QPainter>
#include <QStyle>
#include <QStyleOptionFocusRect>

namespace ui {

namespace {

constexpr int frame = 2; // for the focus

} // namespace

LinkButton::LinkButton(QWidget* parent) : QPushButton(parent) {
    QFont underlined = font();
    underlined.setUnderline(true);
    setFont(underlined);
    setCursor(Qt::PointingHandCursor);
    setSizePolicy(QSizePolicy::Fixed, QSizePolicy::Fixed);
}

QSize LinkButton::sizeHint() const {
    return {fontMetrics().horizontalAdvance(text()) + 2 * frame, fontMetrics().height()};
}

void LinkButton::paintEvent(QPaintEvent*) {
    QPainter painter(this);
    style()->drawItemText(&painter, rect(), Qt::AlignCenter, palette(), isEnabled(), text(), QPalette::Link);
    if (!hasFocus())
        return;
    QStyleOptionFocusRect focus;
    focus.initFrom(this);
    focus.state |= QStyle::State_KeyboardFocusChange; // also where a click was the last
    focus.backgroundColor = palette().color(QPalette::Window);
    style()->drawPrimitive(QStyle::PE_FrameFocusRect, &focus, &painter, this);
}

/// Return is for the window's default button, unless the link has the focus.
void LinkButton::keyPressEvent(QKeyEvent* event) {
    if (event->key() == Qt::Key_Return || event->key() == Qt::Key_Enter)
        click();
    else
        QPushButton::keyPressEvent(event);
}

} // namespace ui
