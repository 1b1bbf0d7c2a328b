// SPDX-License-Identifier: GPL-3.0-or-later
// What the window shows while there are no clips: an invitation to add some.
#pragma once

#include <QWidget>

#include "model/pack_model.h"

class QLabel;

class EmptyView : public QWidget {
    Q_OBJECT

  public:
    explicit EmptyView(PackModel& model, QWidget* parent = nullptr);

  protected:
    /// No control is focused when the view appears: Return and the space bar press nothing by accident.
    void showEvent(QShowEvent* event) override;
    void changeEvent(QEvent* event) override;

  private:
    void update();

    PackModel& model_;
    QLabel& icon_;
    QLabel& title_;
    QLabel& description_;
    QLabel& remark_;
};
