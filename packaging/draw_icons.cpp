// SPDX-License-Identifier: GPL-3.0-or-later
// Draws the program's icon in the sizes of an icon theme, when the program is built: draw-icons SVG FOLDER
// NAME SIZE… writes FOLDER/SIZExSIZE/apps/NAME.png for every size in pixels.
#include <QDir>
#include <QImage>
#include <QPainter>
#include <QSvgRenderer>
#include <cstdio>

int main(int argc, char** argv) {
    const QStringList arguments(argv + 1, argv + argc);
    QSvgRenderer icon(arguments.value(0));
    for (const QString& size : arguments.mid(3)) {
        const QString folder = arguments[1] + QStringLiteral("/%1x%1/apps").arg(size);
        QImage image(size.toInt(), size.toInt(), QImage::Format_ARGB32_Premultiplied);
        image.fill(Qt::transparent);
        QPainter painter(&image);
        icon.render(&painter);
        painter.end();
        const QString file = folder + QLatin1Char('/') + arguments[2] + QStringLiteral(".png");
        if (!icon.isValid() || !QDir().mkpath(folder) || !image.save(file)) {
            (void)std::fprintf(stderr, "%s can't be drawn.\n", qPrintable(file));
            return 1;
        }
    }
    return 0;
}
