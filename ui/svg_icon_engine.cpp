// SPDX-License-Identifier: GPL-3.0-or-later
#include "ui/svg_icon_engine.h"

#include <QFile>
#include <QGuiApplication>
#include <QPainter>
#include <QPalette>
#include <QPixmap>
#include <QSvgRenderer>

/// The resources lie in a static library, which nothing else pulls in. Not in a namespace: the macro's rule.
static void pullResources() {
    Q_INIT_RESOURCE(ui);
}

namespace ui {

namespace {

QColor textColour(QIcon::Mode mode) {
    const QPalette palette = QGuiApplication::palette();
    switch (mode) {
    case QIcon::Disabled:
        return palette.color(QPalette::Disabled, QPalette::ButtonText);
    case QIcon::Selected:
        return palette.color(QPalette::Active, QPalette::HighlightedText);
    default:
        return palette.color(QPalette::Active, QPalette::ButtonText);
    }
}

} // namespace

SvgIconEngine::SvgIconEngine(const QString& resource, std::optional<QColor> colour) : colour_(colour) {
    pullResources();
    QFile file(resource);
    if (file.open(QIODevice::ReadOnly))
        svg_ = file.readAll();
}

void SvgIconEngine::paint(QPainter* painter, const QRect& rect, QIcon::Mode mode, QIcon::State) {
    QByteArray svg = svg_;
    const QColor colour = colour_.value_or(textColour(mode));
    svg.replace("currentColor", colour.name().toLatin1());
    const int side = qMin(rect.width(), rect.height());
    QRectF square(0, 0, side, side);
    square.moveCenter(QRectF(rect).center());
    painter->save();
    painter->setOpacity(painter->opacity() * colour.alphaF());
    QSvgRenderer(svg).render(painter, square);
    painter->restore();
}

QPixmap SvgIconEngine::pixmap(const QSize& size, QIcon::Mode mode, QIcon::State state) {
    QPixmap pixmap(size);
    pixmap.fill(Qt::transparent);
    QPainter painter(&pixmap);
    paint(&painter, QRect(QPoint(0, 0), size), mode, state);
    return pixmap;
}

} // namespace ui
