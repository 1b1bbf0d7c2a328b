// SPDX-License-Identifier: GPL-3.0-or-later
// Lets the user choose several folders and clips at once.
#pragma once

#include <filesystem>
#include <vector>

#include "ui/file_dialog.h"

/// A file dialog whose button takes folders as they are, where the usual ones either can't choose folders or
/// nothing else; a double click still goes into them.
class FolderChooser : public FileDialog {
    Q_OBJECT

  public:
    explicit FolderChooser(QWidget* parent);

  Q_SIGNALS:
    void chosen(const std::vector<std::filesystem::path>& paths);

  protected:
    void accept() override;
    void showEvent(QShowEvent* event) override;

  private:
    [[nodiscard]] QList<QUrl> selected() const;
    [[nodiscard]] QList<QUrl> typed(const QString& text) const;
};
