// SPDX-License-Identifier: GPL-3.0-or-later
#include "ui/file_chooser.h"

#include <QDBusArgument>
#include <QDBusConnection>
#include <QDBusMetaType>
#include <QDBusVariant>
#include <QDir>
#include <QFileDialog>
#include <QGuiApplication>
#include <QUrl>
#include <QWidget>
#include <utility>

#include "pack/discovery.h"
#include "platform/mounts.h"
#include "ui/desktop_call.h"
#include "ui/paths.h"

namespace ui {

namespace {

// XDG Desktop Portal: the FileChooser interface, and the Request that each of its calls makes.
constexpr QLatin1String portal("org.freedesktop.portal.Desktop");
constexpr QLatin1String portalPath("/org/freedesktop/portal/desktop");
constexpr QLatin1String chooserInterface("org.freedesktop.portal.FileChooser");
constexpr QLatin1String requestInterface("org.freedesktop.portal.Request");
constexpr uint firstWithFolders = 3; // version of the interface

QString titleOf(FileChooser::What what) {
    switch (what) {
    case FileChooser::What::folders:
        return FileChooser::tr("Add Folders");
    case FileChooser::What::clips:
        return FileChooser::tr("Add Clips");
    case FileChooser::What::zip:
        break;
    }
    return FileChooser::tr("Save Pack");
}

/// Cards are often in capitals, and not every dialog looks past that.
QString clipPatterns() {
    QStringList patterns;
    for (const char* extension : Pack::clipExtensions()) {
        const QString lower = QStringLiteral("*") + QLatin1String(extension);
        patterns << lower << lower.toUpper();
    }
    return patterns.join(QLatin1Char(' '));
}

} // namespace

FileChooser::FileChooser(What what, std::filesystem::path folder, QString name, QWidget* window)
    : QObject(window), what_(what), folder_(std::move(folder)), name_(std::move(name)), window_(window) {
    askPortal();
}

FileChooser::~FileChooser() {
    delete dialog_;
    if (!request_.isEmpty())
        QDBusConnection::sessionBus().send(
            QDBusMessage::createMethodCall(portal, request_, requestInterface, QStringLiteral("Close")));
}

void FileChooser::askPortal() {
    QDBusMessage version = QDBusMessage::createMethodCall(
        portal, portalPath, QStringLiteral("org.freedesktop.DBus.Properties"), QStringLiteral("Get"));
    version << QString(chooserInterface) << QStringLiteral("version");
    callDesktop(QDBusConnection::sessionBus(), version, this, [this](const QDBusMessage& answer) {
        const QVariant value = answer.arguments().value(0);
        const bool isGood = answer.type() == QDBusMessage::ReplyMessage &&
                            value.value<QDBusVariant>().variant().toUInt() >= firstWithFolders;
        isGood ? openPortal() : openDialog();
    });
}

void FileChooser::openPortal() {
    QDBusConnection bus = QDBusConnection::sessionBus();
    static int number = 0;
    const QString token = QStringLiteral("ferrowick%1").arg(++number);
    request_ =
        QStringLiteral("%1/request/%2/%3")
            .arg(portalPath, bus.baseService().mid(1).replace(QLatin1Char('.'), QLatin1Char('_')), token);
    bus.connect(portal, request_, requestInterface, QStringLiteral("Response"), this,
                SLOT(portalAnswered(uint, QVariantMap)));
    // Paths are bytes that end with a zero.
    QVariantMap options{
        {QStringLiteral("handle_token"), token},
        {QStringLiteral("modal"), true},
        {QStringLiteral("current_folder"), QByteArray::fromStdString(folder_.native() + '\0')}};
    if (what_ == What::zip) {
        options[QStringLiteral("current_name")] = name_;
    } else {
        options[QStringLiteral("accept_label")] = tr("Add");
        options[QStringLiteral("multiple")] = true;
        options[QStringLiteral("directory")] = what_ == What::folders;
    }
    // Other window systems have no such names for windows.
    const bool isX11 = QGuiApplication::platformName() == QLatin1String("xcb");
    const QString window =
        isX11 ? QStringLiteral("x11:%1").arg(window_->window()->winId(), 0, 16) : QString();
    QDBusMessage open = QDBusMessage::createMethodCall(portal, portalPath, chooserInterface,
                                                       what_ == What::zip ? QStringLiteral("SaveFile")
                                                                          : QStringLiteral("OpenFile"));
    open << window << titleOf(what_) << options;
    callDesktop(bus, open, this, [this](const QDBusMessage& answer) {
        if (answer.type() != QDBusMessage::ErrorMessage)
            return;
        request_.clear();
        openDialog();
    });
}

void FileChooser::portalAnswered(uint response, const QVariantMap& results) {
    request_.clear();
    QList<QUrl> urls;
    if (response == 0)
        for (const QString& url : results.value(QStringLiteral("uris")).toStringList())
            urls << QUrl(url);
    answered(paths(urls));
}

std::filesystem::path FileChooser::cards() {
    const auto disks = platform::mountedDisks();
    return disks.empty() ? localPath(QDir::homePath()) : disks.front().parent_path();
}

/// The platform theme's dialog where it has one. Exactly a QFileDialog: the toolkit shows its own in the
/// place of anything derived from it.
void FileChooser::openDialog() {
    dialog_ = new QFileDialog(window_, titleOf(what_));
    dialog_->setOption(QFileDialog::ReadOnly);
    std::filesystem::path folder = folder_; // a card that it was on may be unplugged
    for (std::error_code error; !is_directory(folder, error) && folder.has_relative_path();)
        folder = folder.parent_path();
    dialog_->setDirectoryUrl(fileURL(folder));
    switch (what_) {
    case What::folders:
        dialog_->setFileMode(QFileDialog::Directory);
        dialog_->setLabelText(QFileDialog::Accept, tr("Add"));
        break;
    case What::clips:
        dialog_->setFileMode(QFileDialog::ExistingFiles);
        dialog_->setNameFilters({tr("Camera clips (%1)").arg(clipPatterns()), tr("All files (*)")});
        dialog_->setOption(QFileDialog::HideNameFilterDetails);
        dialog_->setLabelText(QFileDialog::Accept, tr("Add"));
        break;
    case What::zip:
        dialog_->setAcceptMode(QFileDialog::AcceptSave);
        dialog_->setFileMode(QFileDialog::AnyFile);
        dialog_->setNameFilter(tr("Zip archives (*.zip)"));
        dialog_->setDefaultSuffix(QStringLiteral("zip"));
        dialog_->selectFile(name_);
        break;
    }
    connect(dialog_, &QDialog::finished, this, [this](int result) {
        answered(result == QDialog::Accepted ? paths(dialog_->selectedUrls())
                                             : std::vector<std::filesystem::path>());
    });
    dialog_->open();
}

void FileChooser::answered(const std::vector<std::filesystem::path>& paths) {
    const QPointer<FileChooser> self(this);
    if (!paths.empty())
        Q_EMIT chosen(paths);
    if (!self)
        return;
    Q_EMIT closed();
    if (self)
        deleteLater();
}

} // namespace ui
