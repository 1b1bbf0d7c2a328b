// SPDX-License-Identifier: GPL-3.0-or-later
#include "ui/paths.h"

namespace ui {

std::vector<std::filesystem::path> paths(const QList<QUrl>& urls) {
    std::vector<std::filesystem::path> result;
    for (const QUrl& url : urls)
        if (url.isLocalFile())
            result.emplace_back(
                QByteArray::fromPercentEncoding(url.path(QUrl::FullyEncoded).toLatin1()).toStdString());
    return result;
}

std::filesystem::path localPath(const QString& path) {
    return path.toUtf8().toStdString();
}

QUrl fileURL(const std::filesystem::path& path) {
    const QByteArray bytes = QByteArray::fromStdString(path.native());
    return QUrl::fromEncoded("file://" + bytes.toPercentEncoding("/"), QUrl::StrictMode);
}

} // namespace ui
