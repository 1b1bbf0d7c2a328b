// SPDX-License-Identifier: GPL-3.0-or-later
// The strip along the bottom of the window: what goes on, or how the last export ended, or what is listed.
#pragma once

#include <QTimer>
#include <QWidget>

#include "model/pack_model.h"

class QLabel;
class QProgressBar;

namespace ui {

class ElidedLabel;
class LinkButton;

class StatusBar : public QWidget {
    Q_OBJECT

  public:
    explicit StatusBar(model::PackModel& model, QWidget* parent = nullptr);

  Q_SIGNALS:
    /// A link was followed: show these files.
    void revealed(const std::vector<std::filesystem::path>& paths);

  protected:
    void changeEvent(QEvent* event) override;
    void paintEvent(QPaintEvent* event) override;

  private:
    enum class Look { plain, secondary, warning };

    void refreshSoon();
    void refresh();
    void refreshTime();
    void showText(const QString& text, Look look);
    void showRemarks();
    void showBar(double done, double total);
    void showEndlessBar();

    model::PackModel& model_;
    QLabel& icon_;
    ElidedLabel& text_;
    QProgressBar& bar_;
    QLabel& time_;
    LinkButton& link_;
    QLabel& remarkIcon_;
    ElidedLabel& remark_;
    QTimer refreshing_;
    QTimer everySecond_;
};

} // namespace ui
