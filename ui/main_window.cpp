// SPDX-License-Identifier: GPL-3.0-or-later
#include "ui/main_window.h"

#include <QAction>
#include <QApplication>
#include <QCloseEvent>
#include <QDragEnterEvent>
#include <QKeyEvent>
#include <QMenuBar>
#include <QMessageBox>
#include <QMimeData>
#include <QPushButton>
#include <QScreen>
#include <QStackedWidget>
#include <QStyle>
#include <QToolBar>
#include <QToolButton>
#include <QVBoxLayout>
#include <utility>

#include "ui/clip_table.h"
#include "ui/drop_highlight.h"
#include "ui/empty_view.h"
#include "ui/export_button.h"
#include "ui/export_panel.h"
#include "ui/guide.h"
#include "ui/icons.h"
#include "ui/long_job.h"
#include "ui/paths.h"
#include "ui/reveal.h"
#include "ui/status_bar.h"

namespace ui {

MainWindow::MainWindow(model::PackModel& model, QSettings& settings, LaunchArguments arguments)
    : model_(model), settings_(settings), arguments_(std::move(arguments)) {
    setObjectName(QStringLiteral("main"));
    setWindowTitle(QStringLiteral("Ferrowick"));
    setAcceptDrops(true);
    setContextMenuPolicy(Qt::NoContextMenu);
    makeContent();
    makeToolBar();
    makeMenus();
    new LongJob(model, this);

    connect(&model, &model::PackModel::rowsChanged, this, &MainWindow::updateContent);
    connect(&model, &model::PackModel::choosingChanged, this, &MainWindow::updateChooser);
    updateContent();
    constexpr QSize defaultSize(1200, 560);
    resize(defaultSize.boundedTo(screen()->availableSize()));
}

void MainWindow::makeContent() {
    auto* const whole = new QWidget(this);
    constexpr QSize leastSize(640, 320);
    whole->setMinimumSize(leastSize);
    content_ = new QStackedWidget(whole);
    content_->addWidget(new EmptyView(model_));
    table_ = new ClipTable(model_, settings_);
    content_->addWidget(table_);
    status_ = new StatusBar(model_, whole);
    auto* const column = new QVBoxLayout(whole);
    column->setContentsMargins(0, 0, 0, 0);
    column->setSpacing(0);
    column->addWidget(content_, 1);
    column->addWidget(status_);
    highlight_ = new DropHighlight(whole);
    setCentralWidget(whole);

    const auto show = [this](const std::vector<std::filesystem::path>& paths) { reveal(paths, this); };
    connect(table_, &ClipTable::revealed, this, show);
    connect(status_, &StatusBar::revealed, this, show);
}

void MainWindow::makeToolBar() {
    QToolBar* const bar = addToolBar(tr("Toolbar"));
    bar->setMovable(false);
    bar->setFloatable(false);
    bar->setContextMenuPolicy(Qt::PreventContextMenu);
    bar->setToolButtonStyle(Qt::ToolButtonTextBesideIcon);
    constexpr int iconSide = 18;
    bar->setIconSize(QSize(iconSide, iconSide));

    auto* const add = new QAction(Icons::addFolder(), tr("Add Folders"), bar);
    add->setToolTip(tr("Add camera folders or clips"));
    connect(add, &QAction::triggered, this, [this] { model_.setChoosing(true); });
    connect(&model_, &model::PackModel::packingChanged, add,
            [this, add] { add->setEnabled(!model_.packing()); });
    bar->addAction(add);
    QWidget* const button = bar->widgetForAction(add);
    button->setObjectName(QStringLiteral("addFolders"));
    button->setFocusPolicy(Qt::TabFocus);

    auto* const space = new QWidget(bar);
    space->setSizePolicy(QSizePolicy::Expanding, QSizePolicy::Preferred);
    bar->addWidget(space);
    export_ = new ExportButton(model_, bar);
    connect(export_, &ExportButton::exportAsked, this, &MainWindow::exportPack);
    bar->addWidget(export_);
    const int margin = style()->pixelMetric(QStyle::PM_LayoutRightMargin) / 2;
    bar->layout()->setContentsMargins(margin, margin, margin, margin);
}

void MainWindow::makeMenus() {
    QMenu* const file = menuBar()->addMenu(tr("&File"));
    QAction* const add =
        file->addAction(Icons::addFolder(), tr("Add Folders…"), QKeySequence(Qt::CTRL | Qt::Key_O), this,
                        [this] { model_.setChoosing(true); });
    QAction* const addClips =
        file->addAction(tr("Add Clips…"), QKeySequence(Qt::CTRL | Qt::SHIFT | Qt::Key_O), this,
                        [this] { choose(FileChooser::What::clips); });
    QAction* const pack = file->addAction(Icons::exportPack(), tr("Export…"),
                                          QKeySequence(Qt::CTRL | Qt::Key_E), this, &MainWindow::exportPack);
    QAction* const stop = file->addAction(Icons::stop(), tr("Stop"), QKeySequence(Qt::CTRL | Qt::Key_Period),
                                          this, [this] { model_.stop(); });
    file->addSeparator();
    file->addAction(tr("Quit"), QKeySequence(Qt::CTRL | Qt::Key_Q), this, &QWidget::close)
        ->setMenuRole(QAction::QuitRole);
    const auto update = [this, add, addClips, pack, stop] {
        add->setEnabled(!model_.packing());
        addClips->setEnabled(!model_.packing());
        pack->setEnabled(model_.canPack() && model_.waiting() == nullptr);
        stop->setEnabled(model_.packing() || model_.waiting() != nullptr);
    };
    connect(&model_, &model::PackModel::waitingChanged, this, update);
    connect(&model_, &model::PackModel::packingChanged, this, update);
    connect(&model_, &model::PackModel::canPackChanged, this, update);
    update();

    QMenu* const edit = menuBar()->addMenu(tr("&Edit"));
    QAction* const all =
        edit->addAction(tr("Select All"), QKeySequence::SelectAll, table_, &QTreeView::selectAll);
    connect(&model_, &model::PackModel::rowsChanged, all,
            [this, all] { all->setEnabled(!model_.rows().empty()); });
    all->setEnabled(false);
    edit->addSeparator();
    edit->addActions({table_->revealAction(), table_->removeAction()});
    edit->addSeparator();
    edit->addActions(table_->problemActions());

    QMenu* const view = menuBar()->addMenu(tr("&View"));
    view->addAction(table_->onlyProblemsAction());
    QMenu* const orders = view->addMenu(tr("Sort By"));
    connect(orders, &QMenu::aboutToShow, this, [this, orders] {
        orders->clear();
        table_->addOrders(*orders);
    });
    QMenu* const columns = view->addMenu(tr("Columns"));
    connect(columns, &QMenu::aboutToShow, this, [this, columns] {
        columns->clear();
        table_->addColumnSwitches(*columns);
    });

    QMenu* const help = menuBar()->addMenu(tr("&Help"));
    help->addAction(tr("Guide"), QKeySequence(QKeySequence::HelpContents), this,
                    [this] { Guide::open(*this); });
    help->addAction(tr("About Ferrowick"), this, &MainWindow::about)->setMenuRole(QAction::AboutRole);
}

void MainWindow::updateContent() {
    const bool any = !model_.rows().empty();
    content_->setCurrentIndex(any ? 1 : 0);
    status_->setVisible(any);
    highlight_->raise();
}

void MainWindow::updateChooser() {
    if (model_.choosing())
        choose(FileChooser::What::folders);
    else
        delete chooser_;
}

/// Each of the questions remembers its own place.
void MainWindow::choose(FileChooser::What what) {
    if (chooser_)
        return;
    const auto key =
        what == FileChooser::What::folders ? QStringLiteral("addFolder") : QStringLiteral("addClipsFolder");
    const QByteArray last = settings_.value(key).toByteArray();
    chooser_ = new FileChooser(
        what, last.isEmpty() ? FileChooser::cards() : std::filesystem::path(last.toStdString()), {}, this);
    connect(chooser_, &FileChooser::chosen, this,
            [this, key](const std::vector<std::filesystem::path>& paths) {
                settings_.setValue(key, QByteArray::fromStdString(paths.front().parent_path().native()));
                model_.add(paths);
            });
    connect(chooser_, &FileChooser::closed, this, [this] {
        chooser_.clear();
        model_.setChoosing(false);
    });
}

void MainWindow::exportPack() {
    if (!model_.canPack() || model_.waiting() != nullptr)
        return;
    auto* const panel = new ExportPanel(model_, settings_, this);
    connect(panel, &ExportPanel::chosen, this, [this](const std::filesystem::path& zip) {
        // Clips may have come or gone behind the panel.
        if (model_.canPack())
            model_.packWhenReady(zip);
    });
    panel->open();
}

void MainWindow::about() {
    QMessageBox box(QMessageBox::NoIcon, tr("About Ferrowick"),
                    QStringLiteral("<h3>Ferrowick " FERROWICK_VERSION "</h3><p>%1</p><p>%2</p>")
                        .arg(tr("Timecode and scratch sound of camera cards in one small zip."),
                             tr("Free software under the GNU General Public License, version 3 or later.")),
                    QMessageBox::Close, this);
    constexpr int iconSide = 64;
    box.setIconPixmap(Icons::application().pixmap(QSize(iconSide, iconSide), devicePixelRatioF()));
    box.exec();
}

void MainWindow::showEvent(QShowEvent* event) {
    QMainWindow::showEvent(event);
    actOnArguments();
}

void MainWindow::actOnArguments() {
    const LaunchArguments arguments = std::exchange(arguments_, {}); // once
    model_.add(arguments.add);
    if (arguments.zip)
        model_.packWhenReady(*arguments.zip);
}

/// Return presses the default button, unless a control has use for it.
void MainWindow::keyPressEvent(QKeyEvent* event) {
    if ((event->key() == Qt::Key_Return || event->key() == Qt::Key_Enter) && export_->isDefault() &&
        export_->isEnabled()) {
        export_->click();
        event->accept();
        return;
    }
    QMainWindow::keyPressEvent(event);
}

void MainWindow::closeEvent(QCloseEvent* event) {
    if ((model_.packing() || model_.waiting() != nullptr) && !stopToQuit()) {
        event->ignore();
        return;
    }
    model_.stop();
    event->accept();
}

/// Whether the window may close now. After "Stop and Quit" it closes by itself once the export has ended.
bool MainWindow::stopToQuit() {
    if (quitting_)
        return false; // asked already
    QMessageBox box(QMessageBox::Question, windowTitle(),
                    model_.packing() ? tr("An export is running.") : tr("An export is about to start."),
                    QMessageBox::NoButton, this);
    box.setObjectName(QStringLiteral("quitQuestion"));
    box.setInformativeText(tr("If you quit, no pack is saved."));
    const auto* const stop = box.addButton(tr("Stop and Quit"), QMessageBox::DestructiveRole);
    QPushButton* const keep = box.addButton(tr("Keep Exporting"), QMessageBox::RejectRole);
    box.setDefaultButton(keep);
    box.setEscapeButton(keep);
    quitting_ = true;
    box.exec();
    if (box.clickedButton() != stop) {
        quitting_ = false;
        return false;
    }
    if (!model_.packing()) {
        model_.stop();
        return true; // it has ended while the question stood, or not begun
    }
    // An archive that is being written has no end to wait for: leaving removes what there is of it.
    constexpr std::chrono::milliseconds longest(1500);
    const auto leave = [] { QApplication::exit(0); };
    connect(&model_, &model::PackModel::packingChanged, this, leave);
    QTimer::singleShot(longest, this, leave);
    model_.stop();
    return false;
}

void MainWindow::dragEnterEvent(QDragEnterEvent* event) {
    if (model_.packing() || paths(event->mimeData()->urls()).empty())
        return;
    event->acceptProposedAction();
    highlight_->show();
    highlight_->raise();
}

void MainWindow::dragLeaveEvent(QDragLeaveEvent* event) {
    highlight_->hide();
    QMainWindow::dragLeaveEvent(event);
}

void MainWindow::dropEvent(QDropEvent* event) {
    highlight_->hide();
    model_.add(paths(event->mimeData()->urls()));
    if (model_.packing())
        event->ignore();
    else
        event->acceptProposedAction();
}

} // namespace ui
