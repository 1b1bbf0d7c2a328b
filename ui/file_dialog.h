// SPDX-License-Identifier: GPL-3.0-or-later
// What the window's file dialogs share.
#pragma once

#include <QFileDialog>
#include <QList>
#include <QUrl>

class QAbstractItemView;

/// The toolkit's own file dialog, with room for what its list shows and with the mounted cards at its side.
class FileDialog : public QFileDialog {
    Q_OBJECT

  public:
    FileDialog(const QString& title, QWidget* parent);
    ~FileDialog() override;

  protected:
    /// The list that is shown, of the two that the dialog has.
    [[nodiscard]] QAbstractItemView* list() const;

  private:
    QList<QUrl> usualPlaces_;
};
