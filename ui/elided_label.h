// SPDX-License-Identifier: GPL-3.0-or-later
// One line of text that is cut to the room there is; the whole text is its tooltip then.
#pragma once

#include <QFrame>

class ElidedLabel : public QFrame {
    Q_OBJECT

  public:
    explicit ElidedLabel(Qt::TextElideMode mode, QWidget* parent = nullptr);

    [[nodiscard]] const QString& text() const { return text_; }
    void setText(const QString& text);
    [[nodiscard]] QSize sizeHint() const override;
    [[nodiscard]] QSize minimumSizeHint() const override;

  protected:
    void paintEvent(QPaintEvent* event) override;
    bool event(QEvent* event) override;

  private:
    [[nodiscard]] QString shownText() const;

    QString text_;
    Qt::TextElideMode mode_;
};
