// SPDX-License-Identifier: GPL-3.0-or-later
#include "ui/reveal.h"

#include <QDBusConnection>
#include <QDBusMessage>
#include <QDesktopServices>
#include <QStringList>

#include "ui/desktop_call.h"
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
    callDesktop(QDBusConnection::sessionBus(), call, context,
                [folder = fileURL(paths.front().parent_path())](const QDBusMessage& answer) {
                    if (answer.type() == QDBusMessage::ErrorMessage)
                        QDesktopServices::openUrl(folder);
                });
}
