// SPDX-License-Identifier: GPL-3.0-or-later
// The application's one window: an invitation or the clip table, the toolbar, the menus, the status bar.
#pragma once

#include <QMainWindow>
#include <QPointer>

#include "model/pack_model.h"
#include "ui/file_chooser.h"
#include "ui/launch_arguments.h"

class QStackedWidget;

namespace ui {

class ClipTable;
class DropHighlight;
class ExportButton;
class StatusBar;

class MainWindow : public QMainWindow {
    Q_OBJECT

  public:
    MainWindow(model::PackModel& model, QSettings& settings, LaunchArguments arguments = {});

    /// Opens the export panel, and exports to what is chosen there.
    void exportPack();

  protected:
    void showEvent(QShowEvent* event) override;
    void closeEvent(QCloseEvent* event) override;
    void keyPressEvent(QKeyEvent* event) override;
    void dragEnterEvent(QDragEnterEvent* event) override;
    void dragLeaveEvent(QDragLeaveEvent* event) override;
    void dropEvent(QDropEvent* event) override;

  private:
    void makeContent();
    void makeToolBar();
    void makeMenus();
    void updateContent();
    void updateChooser();
    void choose(FileChooser::What what);
    void about();
    void actOnArguments();
    [[nodiscard]] bool stopToQuit();

    model::PackModel& model_;
    QSettings& settings_;
    LaunchArguments arguments_;
    QStackedWidget* content_ = nullptr;
    ClipTable* table_ = nullptr;
    StatusBar* status_ = nullptr;
    DropHighlight* highlight_ = nullptr;
    ExportButton* export_ = nullptr;
    QPointer<FileChooser> chooser_;
    bool quitting_ = false;
};

} // namespace ui
