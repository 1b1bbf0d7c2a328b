// SPDX-License-Identifier: GPL-3.0-or-later
#include "ui/file_dialog.h"

#include <QHeaderView>
#include <QTreeView>

FileDialog::FileDialog(const QString& title, QWidget* parent) : QFileDialog(parent, title) {
    setAttribute(Qt::WA_DeleteOnClose);
    // The native ones take no rows of ours, and none chooses folders and files together.
    setOption(DontUseNativeDialog);
    setOption(HideNameFilterDetails);
    constexpr QSize roomy(860, 560);
    resize(roomy);
    if (auto* const details = findChild<QTreeView*>(QStringLiteral("treeView"))) {
        details->header()->setStretchLastSection(false);
        details->header()->setSectionResizeMode(QHeaderView::ResizeToContents);
        details->header()->setSectionResizeMode(0, QHeaderView::Stretch);
    }
}

QAbstractItemView* FileDialog::list() const {
    auto* const details = findChild<QAbstractItemView*>(QStringLiteral("treeView"));
    return viewMode() == Detail ? details : findChild<QAbstractItemView*>(QStringLiteral("listView"));
}
