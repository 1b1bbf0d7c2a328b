// SPDX-License-Identifier: GPL-3.0-or-later
// The table of clips, grouped by folder.
#pragma once

#include <QSettings>
#include <QTimer>
#include <QTreeView>
#include <array>

#include "model/pack_model.h"
#include "ui/clip_columns.h"

class QAction;
class QMenu;

namespace ui {

class ClipTableModel;

/// Edits the model's selection, collapsed folders and rows; keeps the user's column layout in the settings.
class ClipTable : public QTreeView {
    Q_OBJECT

  public:
    ClipTable(model::PackModel& model, QSettings& settings, QWidget* parent = nullptr);
    ~ClipTable() override;

    /// Removes the selected lines; enabled while there are some and no export runs.
    [[nodiscard]] QAction* removeAction() const { return remove_; }
    /// Shows the selected lines' files in the file manager.
    [[nodiscard]] QAction* revealAction() const { return reveal_; }
    /// Go to the next and the previous clip with a problem, round the list.
    [[nodiscard]] QList<QAction*> problemActions() const { return {nextProblem_, previousProblem_}; }
    /// Shows the clips with problems only.
    [[nodiscard]] QAction* onlyProblemsAction() const { return onlyProblems_; }
    void selectAll() override;
    /// Fills a menu with one switch for each column that can be hidden, and the way back to the first layout.
    void addColumnSwitches(QMenu& menu);
    /// Fills a menu with the orders that clicks on the header give.
    void addOrders(QMenu& menu);

  Q_SIGNALS:
    void revealed(const std::vector<std::filesystem::path>& paths);

  protected:
    void contextMenuEvent(QContextMenuEvent* event) override;
    void showEvent(QShowEvent* event) override;
    void selectionChanged(const QItemSelection& selected, const QItemSelection& deselected) override;
    void keyPressEvent(QKeyEvent* event) override;
    void resizeEvent(QResizeEvent* event) override;
    void dataChanged(const QModelIndex& topLeft, const QModelIndex& bottomRight,
                     const QList<int>& roles) override;
    void paintEvent(QPaintEvent* event) override;
    void drawRow(QPainter* painter, const QStyleOptionViewItem& option,
                 const QModelIndex& index) const override;
    void drawBranches(QPainter* painter, const QRect& rect, const QModelIndex& index) const override;

  private:
    void setUpColumns();
    void restoreColumns();
    void keepColumns();
    void limitWidth(int column, int width);
    void fitColumns();
    void resetColumns();
    void followModel();
    void updateActions();
    void goToProblem(bool forward);
    [[nodiscard]] model::PathSet meantClips() const;
    [[nodiscard]] model::PathSet selectedIDs() const;

    model::PackModel& model_;
    QSettings& settings_;
    ClipTableModel& lines_;
    std::array<ColumnWidth, clipColumnCount> widths_;
    QAction* remove_;
    QAction* reveal_;
    QAction* nextProblem_;
    QAction* previousProblem_;
    QAction* onlyProblems_;
    QTimer keeping_;
    int statusWidth_ = 0; ///< that the user wants at least
    bool fitting_ = false;
    int changesSincePaint_ = 0;
    bool following_ = false; ///< what changes comes from the model
};

} // namespace ui
