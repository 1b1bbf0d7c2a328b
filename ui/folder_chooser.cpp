// SPDX-License-Identifier: GPL-3.0-or-later
#include "ui/folder_chooser.h"

#include <QAbstractItemView>
#include <QDialogButtonBox>
#include <QFileSystemModel>
#include <QLineEdit>
#include <QPushButton>
#include <QSortFilterProxyModel>

#include "pack/discovery.h"
#include "ui/paths.h"

namespace {

/// Folders and clips only, folders first.
class ClipsAndFolders : public QSortFilterProxyModel {
  public:
    using QSortFilterProxyModel::QSortFilterProxyModel;

  protected:
    bool filterAcceptsRow(int row, const QModelIndex& parent) const override {
        const auto* files = qobject_cast<const QFileSystemModel*>(sourceModel());
        if (files == nullptr)
            return true;
        const QModelIndex index = files->index(row, 0, parent);
        return files->isDir(index) || Pack::isClip(files->fileName(index).toStdString());
    }
    bool lessThan(const QModelIndex& a, const QModelIndex& b) const override {
        const auto* files = qobject_cast<const QFileSystemModel*>(sourceModel());
        if (files != nullptr && files->isDir(a) != files->isDir(b))
            return files->isDir(a) == (sortOrder() == Qt::AscendingOrder);
        return QSortFilterProxyModel::lessThan(a, b);
    }
};

} // namespace

FolderChooser::FolderChooser(QWidget* parent) : FileDialog(tr("Add Folders"), parent) {
    setObjectName(QStringLiteral("folderChooser"));
    setFileMode(ExistingFiles);
    setProxyModel(new ClipsAndFolders(this));
    setLabelText(Accept, tr("Add"));
    setNameFilter(tr("Camera folders and clips (*)"));
}

void FolderChooser::showEvent(QShowEvent* event) {
    FileDialog::showEvent(event);
    list()->setFocus();
}

QList<QUrl> FolderChooser::selected() const {
    QList<QUrl> urls;
    // Both views of the dialog share one selection.
    if (const auto* list = findChild<QAbstractItemView*>(QStringLiteral("listView")))
        for (const QModelIndex& index : list->selectionModel()->selectedRows())
            urls << QUrl::fromLocalFile(index.data(QFileSystemModel::FilePathRole).toString());
    return urls;
}

/// A path, or several in quotation marks; discovery finds out whether there is something.
QList<QUrl> FolderChooser::typed(const QString& text) const {
    QStringList names{text};
    if (text.startsWith(QLatin1Char('"')))
        names = text.split(QLatin1Char('"'), Qt::SkipEmptyParts);
    QList<QUrl> urls;
    for (QString& name : names) {
        name = name.trimmed();
        if (name == QLatin1String("~") || name.startsWith(QLatin1String("~/")))
            name.replace(0, 1, QDir::homePath());
        if (!name.isEmpty())
            urls << QUrl::fromLocalFile(directory().absoluteFilePath(name));
    }
    return urls;
}

void FolderChooser::accept() {
    // What is typed counts: completion selects every folder on the way of a typed path.
    const auto* name = findChild<QLineEdit*>(QStringLiteral("fileNameEdit"));
    const QList<QUrl> urls = name != nullptr && name->isModified() ? typed(name->text()) : selected();
    if (urls.isEmpty())
        return;
    Q_EMIT chosen(paths(urls));
    // QFileDialog's own would ask the file system.
    QDialog::done(Accepted); // NOLINT(bugprone-parent-virtual-call)
}
