// SPDX-License-Identifier: GPL-3.0-or-later
#include "ui/file_chooser.h"

#include <QDir>
#include <QFileDialog>
#include <utility>

#include "pack/discovery.h"
#include "platform/mounts.h"
#include "ui/paths.h"

namespace {

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
    openDialog();
}

FileChooser::~FileChooser() {
    delete dialog_;
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
