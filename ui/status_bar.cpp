// SPDX-License-Identifier: GPL-3.0-or-later
#include "ui/status_bar.h"

#include <QDesktopServices>
#include <QEvent>
#include <QHBoxLayout>
#include <QPainter>
#include <QProgressBar>
#include <QStyle>
#include <QUrl>
#include <algorithm>

#include "model/text.h"
#include "ui/clip_columns.h"
#include "ui/elided_label.h"
#include "ui/format.h"
#include "ui/icons.h"
#include "ui/link_button.h"

namespace ui {

namespace {

constexpr int iconSide = 16;
constexpr int barSteps = 1000;
constexpr QLatin1String formatsLink("https://support.apple.com/kb/DL2100");

} // namespace

StatusBar::StatusBar(model::PackModel& model, QWidget* parent)
    : QWidget(parent), model_(model), icon_(*new QLabel(this)),
      text_(*new ElidedLabel(Qt::ElideMiddle, this)), bar_(*new QProgressBar(this)), time_(*new QLabel(this)),
      link_(*new LinkButton(this)), remarkIcon_(*new QLabel(this)),
      remark_(*new ElidedLabel(Qt::ElideRight, this)) {
    setObjectName(QStringLiteral("statusBar"));
    setAccessibleName(tr("Status"));
    text_.setObjectName(QStringLiteral("statusText"));
    bar_.setObjectName(QStringLiteral("statusBarProgress"));
    time_.setObjectName(QStringLiteral("statusTime"));
    link_.setObjectName(QStringLiteral("statusLink"));
    remark_.setObjectName(QStringLiteral("statusRemark"));

    text_.setFont(withEqualDigits(text_.font()));
    time_.setFont(withEqualDigits(time_.font()));
    bar_.setTextVisible(false);
    // Gives way before the texts do.
    bar_.setSizePolicy(QSizePolicy::Ignored, QSizePolicy::Fixed);
    bar_.setFixedHeight(14);
    bar_.setMinimumWidth(24);
    bar_.setMaximumWidth(220);
    remark_.setSizePolicy(QSizePolicy::Ignored, QSizePolicy::Preferred);
    bar_.setAccessibleName(tr("Progress"));
    for (QLabel* icon : {&icon_, &remarkIcon_}) {
        icon->setFixedSize(iconSide, iconSide);
        icon->setAccessibleName(tr("Problem"));
    }
    connect(&link_, &QPushButton::clicked, this, [this] {
        if (model_.saved())
            Q_EMIT revealed({model_.saved()->url});
        else
            QDesktopServices::openUrl(QUrl(formatsLink));
    });

    auto* row = new QHBoxLayout(this);
    constexpr int verticalPadding = 6;
    row->setContentsMargins(style()->pixelMetric(QStyle::PM_LayoutLeftMargin), verticalPadding,
                            style()->pixelMetric(QStyle::PM_LayoutRightMargin), verticalPadding);
    row->setSpacing(8);
    for (QWidget* part :
         {static_cast<QWidget*>(&icon_), static_cast<QWidget*>(&text_), static_cast<QWidget*>(&bar_),
          static_cast<QWidget*>(&time_), static_cast<QWidget*>(&link_), static_cast<QWidget*>(&remarkIcon_),
          static_cast<QWidget*>(&remark_)})
        row->addWidget(part, part == &bar_ || part == &remark_ ? 1000 : 0, Qt::AlignVCenter);
    row->addStretch(1);
    // The same height whatever is shown: the table above must not jump.
    const int tallest = std::max({bar_.sizeHint().height(), text_.sizeHint().height(), iconSide});
    setFixedHeight(tallest + 2 * verticalPadding);

    constexpr std::chrono::milliseconds frame(16);
    refreshing_.setSingleShot(true);
    refreshing_.setInterval(frame);
    connect(&refreshing_, &QTimer::timeout, this, &StatusBar::refresh);
    everySecond_.setInterval(std::chrono::seconds(1));
    connect(&everySecond_, &QTimer::timeout, this, &StatusBar::refreshTime);
    for (const auto signal : {&model::PackModel::exportingChanged, &model::PackModel::findingChanged,
                              &model::PackModel::readingChanged, &model::PackModel::waitingChanged,
                              &model::PackModel::failureChanged, &model::PackModel::savedChanged,
                              &model::PackModel::remarksChanged, &model::PackModel::cantOpenChanged,
                              &model::PackModel::rowsChanged})
        connect(&model, signal, this, &StatusBar::refreshSoon);
    refresh();
}

/// Many changes make one refresh.
void StatusBar::refreshSoon() {
    if (!refreshing_.isActive())
        refreshing_.start();
}

void StatusBar::refresh() {
    const auto& exporting = model_.exporting();
    bar_.hide();
    time_.setVisible(exporting && !exporting->saving);
    link_.hide();
    showRemarks();
    if (exporting) {
        showText(exporting->label(), Look::plain);
        if (exporting->saving)
            showEndlessBar();
        else
            showBar(exporting->done(), std::max(exporting->total, 0.001));
        if (!everySecond_.isActive()) {
            everySecond_.start();
            refreshTime();
        }
        return;
    }
    everySecond_.stop();
    // An export that waits says so beside what it waits for.
    const QString then = model_.waiting() != nullptr
                             ? tr(", then export “%1”").arg(model::fileName(*model_.waiting()))
                             : QString();
    if (model_.finding()) {
        showText(model_.waiting() != nullptr ? tr("Finding clips") + then : tr("Finding clips…"),
                 Look::plain);
        showEndlessBar();
    } else if (model_.readTotal() >= 1) {
        showText(tr("Read %1 of %2 clips").arg(model_.readDone()).arg(model_.readTotal()) + then,
                 Look::plain);
        showBar(static_cast<double>(model_.readDone()), static_cast<double>(model_.readTotal()));
    } else if (model_.waiting() != nullptr && model_.stoppedStillRuns()) {
        showText(tr("The stopped export has yet to end") + then, Look::plain);
        showEndlessBar();
    } else if (model_.failure()) {
        showText(*model_.failure(), Look::warning);
    } else if (model_.saved()) {
        showText(tr("Saved “%1”, %2. Send it to Olvane.")
                     .arg(model::fileName(model_.saved()->url), model::byteCount(model_.saved()->size)),
                 Look::plain);
        link_.setText(tr("Show in Finder"));
        link_.show();
    } else if (model_.cantOpen()) {
        showText(tr("This Mac can't open MXF files yet."), Look::plain);
        link_.setText(tr("Get Apple's Pro Video Formats"));
        link_.show();
    } else {
        showText(model_.summary(), Look::secondary);
    }
}

/// A second piece, once all is found, read and exported.
void StatusBar::showRemarks() {
    const bool busy = model_.exporting() || model_.finding() || model_.readTotal() >= 1;
    const QStringList remarks = busy ? QStringList() : model_.remarks();
    const QColor orange = Icons::orange(palette());
    remarkIcon_.setPixmap(Icons::warning(orange).pixmap(QSize(iconSide, iconSide), devicePixelRatioF()));
    QPalette colours = palette();
    colours.setColor(QPalette::WindowText, orange);
    remark_.setPalette(colours);
    remark_.setText(remarks.join(QLatin1Char(' ')));
    remark_.setVisible(!remarks.isEmpty());
    remarkIcon_.setVisible(!remarks.isEmpty());
}

void StatusBar::refreshTime() {
    const auto& exporting = model_.exporting();
    if (!exporting)
        return;
    QString text = Format::timeLeft(exporting->remaining(model::ExportProgress::Clock::now()));
    if (const auto size = exporting->estimatedSize())
        text = tr("%1, about %2", "time left, size").arg(text, model::byteCount(*size));
    time_.setText(isRightToLeft() ? Format::isolated(text) : text);
}

void StatusBar::showText(const QString& text, Look look) {
    const bool warns = look == Look::warning;
    const QColor orange = Icons::orange(palette());
    icon_.setVisible(warns);
    if (warns)
        icon_.setPixmap(Icons::warning(orange).pixmap(QSize(iconSide, iconSide), devicePixelRatioF()));
    QPalette colours = palette();
    if (look != Look::plain)
        colours.setColor(QPalette::WindowText, warns ? orange : Icons::secondary(palette()));
    text_.setPalette(colours);
    colours = palette();
    colours.setColor(QPalette::WindowText, Icons::secondary(palette()));
    time_.setPalette(colours);
    text_.setText(text);
}

void StatusBar::showBar(double done, double total) {
    bar_.setRange(0, barSteps);
    bar_.setValue(static_cast<int>(std::clamp(done / total, 0.0, 1.0) * barSteps));
    bar_.show();
}

void StatusBar::showEndlessBar() {
    bar_.setRange(0, 0);
    bar_.show();
}

void StatusBar::changeEvent(QEvent* event) {
    QWidget::changeEvent(event);
    if (event->type() == QEvent::PaletteChange || event->type() == QEvent::StyleChange)
        refreshSoon();
}

void StatusBar::paintEvent(QPaintEvent*) {
    QPainter painter(this);
    QColor line = palette().color(QPalette::WindowText);
    line.setAlphaF(0.18F);
    painter.fillRect(QRect(0, 0, width(), 1), line);
}

} // namespace ui
