// SPDX-License-Identifier: GPL-3.0-or-later
#include "ui/icons.h"

#include <QApplication>
#include <QHash>
#include <QMimeDatabase>
#include <QVariant>
#include <optional>

#include "ui/svg_icon_engine.h"

namespace ui {

namespace Icons {

namespace {

QIcon own(const char* name, std::optional<QColor> colour = std::nullopt) {
    return QIcon(new SvgIconEngine(QStringLiteral(":/icons/%1.svg").arg(QLatin1String(name)), colour));
}

QIcon themed(const char* theme, const char* fallback) {
    const QString name = QLatin1String(theme);
    return QIcon::hasThemeIcon(name) ? QIcon::fromTheme(name) : own(fallback);
}

/// The kinds of icons by file extension, with "/" for folders, as long as the application lives.
class Cache : public QObject {
  public:
    static QHash<QString, QIcon>& icons() {
        const QString name = QStringLiteral("icons");
        auto* cache = static_cast<Cache*>(qApp->findChild<QObject*>(name, Qt::FindDirectChildrenOnly));
        if (cache == nullptr) {
            cache = new Cache;
            cache->setObjectName(name);
            cache->setParent(qApp);
        }
        return cache->icons_;
    }

  private:
    QHash<QString, QIcon> icons_;
};

template <typename Make>
QIcon cached(const QString& key, Make make) {
    QHash<QString, QIcon>& icons = Cache::icons();
    const auto found = icons.constFind(key);
    return found != icons.constEnd() ? *found : *icons.insert(key, make());
}

} // namespace

QIcon addFolder() {
    return themed("folder-add", "folder-add");
}

QIcon exportPack() {
    return themed("document-export", "export");
}

QIcon stop() {
    return themed("process-stop", "stop");
}

QIcon reveal() {
    return themed("edit-find", "reveal");
}

QIcon remove() {
    return themed("list-remove", "remove");
}

QIcon warning(const QColor& colour) {
    return own("warning", colour);
}

QIcon application() {
    return own("ferrowick");
}

QIcon folder() {
    return cached(QStringLiteral("/"), [] { return themed("folder", "folder"); });
}

QIcon clip(const QString& fileName) {
    const QString extension = fileName.section(QLatin1Char('.'), -1).toLower();
    return cached(extension, [&] {
        const QMimeType type = QMimeDatabase().mimeTypeForFile(QStringLiteral("clip.") + extension,
                                                               QMimeDatabase::MatchExtension);
        for (const QString& name :
             {type.iconName(), type.genericIconName(), QStringLiteral("video-x-generic")})
            if (name != QLatin1String("application-octet-stream") && QIcon::hasThemeIcon(name))
                return QIcon::fromTheme(name);
        return own("movie");
    });
}

QColor orange(const QPalette& palette) {
    // Each has a contrast of at least 4.5 to 1 (WCAG 2, level AA) to the usual backgrounds of its side.
    return palette.color(QPalette::Base).lightness() < 128 ? QColor(0xff, 0xa6, 0x4d)
                                                           : QColor(0xb0, 0x50, 0x00);
}

QColor secondary(const QPalette& palette) {
    QColor colour = palette.color(QPalette::Text);
    colour.setAlphaF(0.65F);
    return colour;
}

} // namespace Icons

} // namespace ui
