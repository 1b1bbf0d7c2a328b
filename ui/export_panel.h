// SPDX-License-Identifier: GPL-3.0-or-later
// Asks how the pack is to be called, where to save it, and what to keep of the sound.
#pragma once

#include <QDialog>
#include <QPointer>
#include <QTimer>
#include <functional>
#include <optional>

#include "model/pack_model.h"

class QComboBox;
class QLabel;
class QLineEdit;
class QPushButton;

namespace ui {

class FileChooser;

/// The choice of sound is the model's at once, also when the panel is cancelled. Opens on the folder of the
/// last export, else on Documents or the home folder, never in a folder that was added. Asks before the pack
/// replaces a file or goes into an added folder, warns when there may be too little room for it; a name
/// without ".zip" gets it.
class ExportPanel : public QDialog {
    Q_OBJECT

  public:
    ExportPanel(model::PackModel& model, QSettings& settings, QWidget* parent);

    void accept() override;

  Q_SIGNALS:
    void chosen(const std::filesystem::path& zip);

  private:
    void addFields();
    void updateMessage();
    void askForSpace();
    void suggest(std::vector<std::filesystem::path> folders);
    void setPlace(const std::filesystem::path& folder);
    void choose();
    [[nodiscard]] std::filesystem::path typedZip() const;
    void forgetAnswer();
    void looked(const std::filesystem::path& zip, const model::ExportPlace& place);
    void confirm(const std::filesystem::path& zip, bool remember);
    void ask(const QString& question, const QString& agree, std::function<void()> agreed);
    void refuse(const QString& reason);

    model::PackModel& model_;
    QSettings& settings_;
    QLabel& message_;
    QLineEdit& name_;
    QLineEdit& place_;
    QComboBox& audio_;
    QLabel& space_;
    QLabel& problem_;
    QPushButton* export_ = nullptr;
    std::filesystem::path folder_;    ///< that `place_` shows, as long as nobody has typed there
    std::filesystem::path agreedZip_; ///< that the desktop's dialog has asked about already
    QPointer<FileChooser> chooser_;
    QTimer updating_;
    QTimer asking_;                   ///< for the free space, once nobody types any more
    bool asked_ = false;              ///< and not answered: a disk may never do
    std::filesystem::path accepting_; ///< that the disk is asked about, for an export there
    QTimer answering_;                ///< how long it may take before that is said
    std::optional<std::int64_t> freeSpace_;
};

} // namespace ui
