// SPDX-License-Identifier: GPL-3.0-or-later
// One line of text that is cut to the room there is; the whole text is its tooltip then.
#pragma once

#include <QLabel>

namespace ui {

class ElidedLabel : public QLabel {
    Q_OBJECT

  public:
    explicit ElidedLabel(Qt::TextElideMode mode, QWidget* parent = nullptr);

    [[nodiscard]] QSize sizeHint() const override;
    [[nodiscard]] QSize minimumSizeHint() const override;

  protected:
    void paintEvent(QPaintEvent* event) override;
    bool event(QEvent* event) override;

  private:
    [[nodiscard]] QString shownText() const;

    Qt::TextElideMode mode_;
};

} // namespace ui
