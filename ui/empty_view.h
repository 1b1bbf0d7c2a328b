// SPDX-License-Identifier: GPL-3.0-or-later
// What the window shows while there are no clips: an invitation to add some.
#pragma once

#include <QWidget>

#include "model/pack_model.h"

class QLabel;

namespace ui {

class EmptyView : public QWidget {
    Q_OBJECT

  public:
    explicit EmptyView(model::PackModel& model, QWidget* parent = nullptr);

  protected:
    /// No control is focused when the view appears: Return and the space bar press nothing by accident.
    void showEvent(QShowEvent* event) override;
    void changeEvent(QEvent* event) override;

  private:
    void update();

    model::PackModel& model_;
    QLabel& icon_;
    QLabel& title_;
    QLabel& description_;
    QLabel& remark_;
};

} // namespace ui
