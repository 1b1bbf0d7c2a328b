// SPDX-License-Identifier: GPL-3.0-or-later
// Asks where to save the pack and what to keep of the sound.
#pragma once

#include "model/pack_model.h"
#include "ui/file_dialog.h"

class QComboBox;
class QLabel;

/// A file dialog with the pack's expected size above and the choice of sound below. What is chosen there is
/// the model's at once, also when the dialog is cancelled. Asks before it replaces a file; a name without
/// ".zip" gets it.
class SavePanel : public FileDialog {
    Q_OBJECT

  public:
    SavePanel(PackModel& model, QWidget* parent);

  Q_SIGNALS:
    void chosen(const std::filesystem::path& zip);

  protected:
    void accept() override;

  private:
    void update();
    [[nodiscard]] bool leadsToFolder(const QString& name) const;

    PackModel& model_;
    QLabel& message_;
    QComboBox& audio_;
};
