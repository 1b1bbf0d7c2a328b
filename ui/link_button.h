// SPDX-License-Identifier: GPL-3.0-or-later
// A button that looks like a link. Unlike a label with a link in it, it takes the focus with one Tab.
#pragma once

#include <QPushButton>

namespace ui {

class LinkButton : public QPushButton {
    Q_OBJECT

  public:
    explicit LinkButton(QWidget* parent = nullptr);
    [[nodiscard]] QSize sizeHint() const override;

  protected:
    void paintEvent(QPaintEvent* event) override;
    void keyPressEvent(QKeyEvent* event) override;
};

} // namespace ui
