// SPDX-License-Identifier: GPL-3.0-or-later
#include "ui/reveal.h"

#include <QDBusConnection>
#include <QDBusMessage>
#include <QDBusPendingCallWatcher>
#include <QDBusPendingReply>
#include <QDesktopServices>
#include <QStringList>

#include "ui/paths.h"

void reveal(const std::vector<std::filesystem::path>& paths, QObject* context) {
    if (paths.empty())
        return;
    QStringList urls;
    for (const auto& path : paths)
        urls << QString::fromLatin1(fileURL(path).toEncoded());
    QDBusMessage call = QDBusMessage::createMethodCall(
        QStringLiteral("org.freedesktop.FileManager1"), QStringLiteral("/org/freedesktop/FileManager1"),
        QStringLiteral("org.freedesktop.FileManager1"), QStringLiteral("ShowItems"));
    call << urls << QString();
    auto* const watcher = new QDBusPendingCallWatcher(QDBusConnection::sessionBus().asyncCall(call), context);
    QObject::connect(watcher, &QDBusPendingCallWatcher::finished, context,
                     [watcher, folder = fileURL(paths.front().parent_path())] {
                         watcher->deleteLater();
                         if (watcher->isError())
                             QDesktopServices::openUrl(folder);
                     });
}
