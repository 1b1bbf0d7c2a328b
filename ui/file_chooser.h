// SPDX-License-Identifier: GPL-3.0-or-later
// Asks for folders, for clips, or for a place to save a pack, in the desktop's own dialogs.
#pragma once

#include <QObject>
#include <QPointer>
#include <QString>
#include <QVariantMap>
#include <filesystem>
#include <vector>

class QFileDialog;

namespace ui {

/// One question, from its making to its answer; then it deletes itself. Deleting it earlier closes the
/// dialog. The session's portal is asked first, as its dialogs take several folders at once; then the
/// platform theme. Where the desktop has no dialogs of its own, the toolkit's are shown read-only: nothing in
/// them renames, moves or deletes.
class FileChooser : public QObject {
    Q_OBJECT

  public:
    enum class What { folders, clips, zip };

    /// Opens the dialog in front of `window`, showing `folder`; `name` is the zip's.
    FileChooser(What what, std::filesystem::path folder, QString name, QWidget* window);
    ~FileChooser() override;

    /// Where cards are mounted, else the home folder: for a first question.
    [[nodiscard]] static std::filesystem::path cards();

  Q_SIGNALS:
    void chosen(const std::vector<std::filesystem::path>& paths);
    /// After `chosen` or without it.
    void closed();

  private Q_SLOTS:
    void portalAnswered(uint response, const QVariantMap& results);

  private:
    void askPortal();
    void openPortal();
    void openDialog();
    void answered(const std::vector<std::filesystem::path>& paths);

    const What what_;
    const std::filesystem::path folder_;
    const QString name_;
    QWidget* const window_;
    QPointer<QFileDialog> dialog_;
    QString request_; ///< the portal's, as long as its dialog may be open
};

} // namespace ui
