// SPDX-License-Identifier: GPL-3.0-or-later
#include "ui/file_dialog.h"

#include <QHeaderView>
#include <QListView>
#include <QTreeView>

#include "platform/mounts.h"
#include "ui/paths.h"

FileDialog::FileDialog(const QString& title, QWidget* parent) : QFileDialog(parent, title) {
    setAttribute(Qt::WA_DeleteOnClose);
    usualPlaces_ = sidebarUrls();
    // The native ones take no rows of ours, and none chooses folders and files together.
    setOption(DontUseNativeDialog);
    setOption(HideNameFilterDetails);
    constexpr QSize roomy(860, 560);
    resize(roomy);
    QList<QUrl> places = usualPlaces_;
    for (const auto& disk : platform::mountedDisks())
        if (!places.contains(fileURL(disk)))
            places << fileURL(disk);
    setSidebarUrls(places);
    if (auto* const side = findChild<QListView*>(QStringLiteral("sidebar"))) {
        constexpr int cardName = 20; // characters, with the icon
        side->setMinimumWidth(cardName * fontMetrics().averageCharWidth());
    }
    if (auto* const details = findChild<QTreeView*>(QStringLiteral("treeView"))) {
        details->header()->setStretchLastSection(false);
        details->header()->setSectionResizeMode(QHeaderView::ResizeToContents);
        details->header()->setSectionResizeMode(0, QHeaderView::Stretch);
    }
}

/// The toolkit keeps the places for all programs; cards come and go.
FileDialog::~FileDialog() {
    setSidebarUrls(usualPlaces_);
}

QAbstractItemView* FileDialog::list() const {
    auto* const details = findChild<QAbstractItemView*>(QStringLiteral("treeView"));
    return viewMode() == Detail ? details : findChild<QAbstractItemView*>(QStringLiteral("listView"));
}
