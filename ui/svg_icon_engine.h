// SPDX-License-Identifier: GPL-3.0-or-later
// Draws an icon of ours from its SVG at any size.
#pragma once

#include <QByteArray>
#include <QColor>
#include <QIconEngine>
#include <optional>

namespace ui {

class SvgIconEngine : public QIconEngine {
  public:
    /// `resource` is a path in the program's resources. "currentColor" in it becomes `colour`, or without one
    /// that of the text that the icon stands beside.
    explicit SvgIconEngine(const QString& resource, std::optional<QColor> colour = std::nullopt);

    void paint(QPainter* painter, const QRect& rect, QIcon::Mode mode, QIcon::State state) override;
    QPixmap pixmap(const QSize& size, QIcon::Mode mode, QIcon::State state) override;
    [[nodiscard]] QIconEngine* clone() const override { return new SvgIconEngine(*this); }
    bool isNull() override { return svg_.isEmpty(); }

  private:
    QByteArray svg_;
    std::optional<QColor> colour_;
};

} // namespace ui
