// SPDX-License-Identifier: GPL-3.0-or-later
#include "ui/drop_highlight.h"

#include <QEvent>
#include <QPainter>

namespace ui {

DropHighlight::DropHighlight(QWidget* parent) : QWidget(parent) {
    setObjectName(QStringLiteral("dropHighlight"));
    setAttribute(Qt::WA_TransparentForMouseEvents);
    setAttribute(Qt::WA_NoSystemBackground);
    setFocusPolicy(Qt::NoFocus);
    parent->installEventFilter(this);
    hide();
}

void DropHighlight::paintEvent(QPaintEvent*) {
    constexpr double lineWidth = 3;
    QPainter painter(this);
    QPen pen(palette().color(QPalette::Highlight), lineWidth);
    pen.setJoinStyle(Qt::MiterJoin);
    painter.setPen(pen);
    painter.drawRect(QRectF(rect()).adjusted(lineWidth / 2, lineWidth / 2, -lineWidth / 2, -lineWidth / 2));
}

bool DropHighlight::eventFilter(QObject* watched, QEvent* event) {
    if (watched == parent() && (event->type() == QEvent::Resize || event->type() == QEvent::ChildAdded)) {
        setGeometry(parentWidget()->rect());
        raise();
    }
    return QWidget::eventFilter(watched, event);
}

} // namespace ui
