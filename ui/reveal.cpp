// SPDX-License-Identifier: GPL-3.0-or-later
#include "ui/reveal.h"

#include <QCoreApplication>
#include <QDBusConnection>
#include <QDBusMessage>
#include <QDesktopServices>
#include <QMessageBox>
#include <QProcess>
#include <QStandardPaths>
#include <QStringList>
#include <chrono>

#include "model/text.h"
#include "ui/desktop_call.h"
#include "ui/paths.h"

namespace ui {

namespace {

/// With the place, for those who know another way there.
void sayNone(const std::filesystem::path& folder, QWidget* window) {
    auto* const box = new QMessageBox(QMessageBox::Information, window->windowTitle(),
                                      QCoreApplication::translate("Reveal", "No file manager can be opened."),
                                      QMessageBox::Close, window);
    box->setObjectName(QStringLiteral("noFileManager"));
    box->setAttribute(Qt::WA_DeleteOnClose);
    box->setTextFormat(Qt::PlainText);
    box->setTextInteractionFlags(Qt::TextSelectableByMouse | Qt::TextSelectableByKeyboard);
    box->setInformativeText(
        QCoreApplication::translate("Reveal", "The place is %1").arg(model::text(folder.native())));
    box->open();
}

/// The desktop's opener tells by its exit code that it knows no program; the toolkit does not wait for that.
void openFolder(const std::filesystem::path& folder, QWidget* window) {
    const QString opener = QStandardPaths::findExecutable(QStringLiteral("xdg-open"));
    if (opener.isEmpty()) {
        if (!QDesktopServices::openUrl(fileURL(folder)))
            sayNone(folder, window);
        return;
    }
    auto* const process = new QProcess(window);
    const auto begin = std::chrono::steady_clock::now();
    QObject::connect(process, &QProcess::finished, window, [=](int code, QProcess::ExitStatus) {
        process->deleteLater();
        // Where it stays with the file manager, a late code is the file manager's own.
        constexpr std::chrono::seconds prompt(10);
        if (code != 0 && std::chrono::steady_clock::now() - begin < prompt)
            sayNone(folder, window);
    });
    QObject::connect(process, &QProcess::errorOccurred, window, [=](QProcess::ProcessError error) {
        if (error != QProcess::FailedToStart)
            return; // it has begun, and will finish
        process->deleteLater();
        sayNone(folder, window);
    });
    process->start(opener, {QString::fromLatin1(fileURL(folder).toEncoded())});
}

} // namespace

void reveal(const std::vector<std::filesystem::path>& paths, QWidget* window) {
    if (paths.empty())
        return;
    QStringList urls;
    for (const auto& path : paths)
        urls << QString::fromLatin1(fileURL(path).toEncoded());
    QDBusMessage call = QDBusMessage::createMethodCall(
        QStringLiteral("org.freedesktop.FileManager1"), QStringLiteral("/org/freedesktop/FileManager1"),
        QStringLiteral("org.freedesktop.FileManager1"), QStringLiteral("ShowItems"));
    call << urls << QString();
    callDesktop(QDBusConnection::sessionBus(), call, window,
                [folder = paths.front().parent_path(), window](const QDBusMessage& answer) {
                    if (answer.type() == QDBusMessage::ErrorMessage)
                        openFolder(folder, window);
                });
}

} // namespace ui
