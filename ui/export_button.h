// SPDX-License-Identifier: GPL-3.0-or-later
// The toolbar's button that starts an export, or stops the running one.
#pragma once

#include <QPushButton>

#include "model/pack_model.h"

namespace ui {

/// The window's default button while it reads "Export…".
class ExportButton : public QPushButton {
    Q_OBJECT

  public:
    explicit ExportButton(model::PackModel& model, QWidget* parent = nullptr);

  Q_SIGNALS:
    void exportAsked();

  private:
    void update();
    [[nodiscard]] bool stops() const;

    model::PackModel& model_;
};

} // namespace ui
