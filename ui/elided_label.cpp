// SPDX-License-Identifier: GPL-3.0-or-later
#include "ui/elided_label.h"

#include <QEvent>
#include <QFontMetrics>
#include <QHelpEvent>
#include <QPainter>
#include <QStyle>
#include <QToolTip>

#include "ui/format.h"

namespace ui {

ElidedLabel::ElidedLabel(Qt::TextElideMode mode, QWidget* parent) : QLabel(parent), mode_(mode) {
    setTextFormat(Qt::PlainText);
    setSizePolicy(QSizePolicy::Maximum, QSizePolicy::Preferred);
}

QString ElidedLabel::shownText() const {
    return fontMetrics().elidedText(text(), mode_, width());
}

QSize ElidedLabel::sizeHint() const {
    return {fontMetrics().horizontalAdvance(text()) + 1, fontMetrics().height()};
}

QSize ElidedLabel::minimumSizeHint() const {
    const int least = fontMetrics().averageCharWidth() * 12;
    return {qMin(least, sizeHint().width()), fontMetrics().height()};
}

void ElidedLabel::paintEvent(QPaintEvent*) {
    QPainter painter(this);
    style()->drawItemText(
        &painter, rect(),
        static_cast<int>(Qt::AlignVCenter | QStyle::visualAlignment(layoutDirection(), Qt::AlignLeft)),
        palette(), isEnabled(), isRightToLeft() ? Format::isolated(shownText()) : shownText(),
        foregroundRole());
}

bool ElidedLabel::event(QEvent* event) {
    if (event->type() != QEvent::ToolTip)
        return QLabel::event(event);
    if (shownText() != text())
        QToolTip::showText(static_cast<QHelpEvent*>(event)->globalPos(), Format::toolTip(text()), this);
    else
        QToolTip::hideText();
    return true;
}

} // namespace ui
