// SPDX-License-Identifier: GPL-3.0-or-later
#include "ui/empty_view.h"

#include <QEvent>
#include <QLabel>
#include <QPushButton>
#include <QVBoxLayout>

#include "ui/icons.h"
#include "ui/svg_icon_engine.h"

namespace ui {

EmptyView::EmptyView(model::PackModel& model, QWidget* parent)
    : QWidget(parent), model_(model), icon_(*new QLabel(this)), title_(*new QLabel(this)),
      description_(*new QLabel(tr("Drag them here, or click Add Folders."), this)),
      remark_(*new QLabel(this)) {
    setObjectName(QStringLiteral("emptyView"));
    title_.setObjectName(QStringLiteral("emptyTitle"));
    remark_.setObjectName(QStringLiteral("emptyRemark"));
    remark_.setTextFormat(Qt::PlainText);
    remark_.setWordWrap(true);
    remark_.setAlignment(Qt::AlignCenter);
    auto* const add = new QPushButton(tr("Add Folders…"), this);
    add->setObjectName(QStringLiteral("emptyAdd"));
    add->setAutoDefault(true); // Return presses it when it has been tabbed to
    connect(add, &QPushButton::clicked, this, [this] { model_.setChoosing(true); });

    QFont large = title_.font();
    large.setPointSizeF(large.pointSizeF() * 1.6);
    large.setWeight(QFont::DemiBold);
    title_.setFont(large);

    auto* const column = new QVBoxLayout(this);
    column->addStretch(4);
    column->addWidget(&icon_, 0, Qt::AlignHCenter);
    column->addSpacing(8);
    column->addWidget(&title_, 0, Qt::AlignHCenter);
    column->addWidget(&description_, 0, Qt::AlignHCenter);
    column->addSpacing(12);
    column->addWidget(add, 0, Qt::AlignHCenter);
    column->addSpacing(12);
    column->addWidget(&remark_);
    column->addStretch(5);

    connect(&model, &model::PackModel::findingChanged, this, &EmptyView::update);
    connect(&model, &model::PackModel::remarksChanged, this, &EmptyView::update);
    update();
}

void EmptyView::update() {
    constexpr int iconSide = 56;
    const QColor muted = Icons::secondary(palette());
    QPalette colours = palette();
    colours.setColor(QPalette::WindowText, muted);
    description_.setPalette(colours);
    // Always ours: a theme's folder would be the one spot of colour in the window.
    icon_.setPixmap(QIcon(new SvgIconEngine(QStringLiteral(":/icons/folder-add.svg"), muted))
                        .pixmap(QSize(iconSide, iconSide), devicePixelRatioF()));
    // There is no status bar below an empty list.
    colours.setColor(QPalette::WindowText, Icons::orange(palette()));
    remark_.setPalette(colours);
    remark_.setText(model_.finding() ? QString() : model_.remarks().join(QLatin1Char('\n')));
    title_.setText(model_.finding() ? tr("Finding Clips") : tr("No Camera Folders"));
}

void EmptyView::showEvent(QShowEvent* event) {
    QWidget::showEvent(event);
    setFocus();
}

void EmptyView::changeEvent(QEvent* event) {
    QWidget::changeEvent(event);
    if (event->type() == QEvent::PaletteChange)
        update();
}

} // namespace ui
