// SPDX-License-Identifier: GPL-3.0-or-later
#include "ui/clip_table.h"

#include <QAccessible>
#include <QAction>
#include <QApplication>
#include <QContextMenuEvent>
#include <QHeaderView>
#include <QMenu>
#include <QPainter>
#include <QScrollBar>
#include <QStyle>
#include <algorithm>
#include <utility>

#include "ui/clip_delegate.h"
#include "ui/clip_table_model.h"
#include "ui/icons.h"

namespace ui {

namespace {

/// Titles stand over their columns' texts.
class PaddedHeader : public QHeaderView {
  public:
    using QHeaderView::QHeaderView;

  protected:
    void initStyleOptionForIndex(QStyleOptionHeader* option, int section) const override {
        QHeaderView::initStyleOptionForIndex(option, section);
        option->text = QChar(QChar::Nbsp) + option->text + QChar(QChar::Nbsp);
    }
};

} // namespace

ClipTable::ClipTable(model::PackModel& model, QSettings& settings, QWidget* parent)
    : QTreeView(parent), model_(model), settings_(settings), lines_(*new ClipTableModel(model, this)),
      remove_(new QAction(Icons::remove(), tr("Remove"), this)),
      reveal_(new QAction(Icons::reveal(), tr("Show in Finder"), this)),
      nextProblem_(new QAction(tr("Next Problem"), this)),
      previousProblem_(new QAction(tr("Previous Problem"), this)),
      onlyProblems_(new QAction(tr("Only Problems"), this)) {
    setObjectName(QStringLiteral("clipTable"));
    setAccessibleName(tr("Clips"));
    setHeader(new PaddedHeader(Qt::Horizontal, this));
    setModel(&lines_);
    setItemDelegate(new ClipDelegate(this));
    setUniformRowHeights(true);
    setAlternatingRowColors(true);
    setSelectionMode(ExtendedSelection);
    setSelectionBehavior(SelectRows);
    setEditTriggers(NoEditTriggers);
    setExpandsOnDoubleClick(true);
    setAllColumnsShowFocus(true);
    setFrameShape(QFrame::NoFrame);
    setHorizontalScrollMode(ScrollPerPixel);
    setVerticalScrollMode(ScrollPerPixel);
    setAcceptDrops(false); // the window takes drops, wherever they fall

    remove_->setShortcuts({QKeySequence(Qt::Key_Delete), QKeySequence(Qt::Key_Backspace)});
    remove_->setShortcutContext(Qt::WidgetWithChildrenShortcut);
    reveal_->setShortcut(Qt::CTRL | Qt::Key_R);
    reveal_->setShortcutContext(Qt::WidgetWithChildrenShortcut);
    addActions({remove_, reveal_});
    connect(remove_, &QAction::triggered, this, [this] { model_.remove(meantClips()); });
    connect(reveal_, &QAction::triggered, this, [this] {
        const model::PathSet& ids = model_.selection();
        Q_EMIT revealed({ids.begin(), ids.end()});
    });
    connect(&model, &model::PackModel::packingChanged, this, &ClipTable::updateActions);
    nextProblem_->setShortcut(Qt::Key_F8);
    previousProblem_->setShortcut(Qt::SHIFT | Qt::Key_F8);
    connect(nextProblem_, &QAction::triggered, this, [this] { goToProblem(true); });
    connect(previousProblem_, &QAction::triggered, this, [this] { goToProblem(false); });
    connect(&lines_, &ClipTableModel::problemsChanged, this, &ClipTable::updateActions);
    onlyProblems_->setShortcut(Qt::CTRL | Qt::SHIFT | Qt::Key_P);
    onlyProblems_->setCheckable(true);
    connect(onlyProblems_, &QAction::toggled, &lines_, &ClipTableModel::setOnlyProblems);
    connect(&lines_, &ClipTableModel::onlyProblemsChanged, onlyProblems_, &QAction::setChecked);

    setUpColumns();
    const auto collapse = [this](const QModelIndex& index, bool collapsed) {
        if (std::exchange(following_, true))
            return;
        model_.setCollapsed(lines_.id(index), collapsed);
        following_ = false;
    };
    connect(this, &QTreeView::collapsed, this,
            [collapse](const QModelIndex& index) { collapse(index, true); });
    connect(this, &QTreeView::expanded, this,
            [collapse](const QModelIndex& index) { collapse(index, false); });
    connect(&lines_, &QAbstractItemModel::rowsAboutToBeRemoved, this, [this] { following_ = true; });
    connect(&lines_, &QAbstractItemModel::rowsAboutToBeInserted, this, [this] { following_ = true; });
    connect(&lines_, &QAbstractItemModel::layoutAboutToBeChanged, this, [this] { following_ = true; });
    connect(&lines_, &ClipTableModel::synchronized, this, &ClipTable::followModel);
    const auto followOthers = [this] {
        if (!following_)
            followModel();
    };
    connect(&model, &model::PackModel::selectionChanged, this, followOthers);
    connect(&model, &model::PackModel::collapsedChanged, this, followOthers);
    followModel();
}

ClipTable::~ClipTable() {
    if (keeping_.isActive())
        keepColumns();
}

/// Expansion and selection as the model says, also of lines that have just come.
void ClipTable::followModel() {
    following_ = true;
    const auto expand = [this](const QModelIndex& parent, const auto& again) -> void {
        for (int row = 0; row < lines_.rowCount(parent); ++row) {
            const QModelIndex index = lines_.index(row, 0, parent);
            if (!lines_.isFolder(index))
                continue;
            const bool expanded = !model_.collapsed().contains(lines_.id(index));
            if (isExpanded(index) != expanded)
                setExpanded(index, expanded);
            again(index, again);
        }
    };
    expand(QModelIndex(), expand);
    if (selectedIDs() != model_.selection()) {
        QItemSelection selection;
        for (const QModelIndex& index : lines_.indexes(model_.selection()))
            selection.select(index, index.siblingAtColumn(clipColumnCount - 1));
        selectionModel()->select(selection, QItemSelectionModel::ClearAndSelect);
    }
    following_ = false;
    // What is not shown must not be removed by a key.
    if (lines_.onlyProblems())
        model_.setSelection(selectedIDs());
    updateActions();
}

/// The clips that the selection stands for. The tree's folders stand for all of their clips, but never for
/// some that are not shown.
model::PathSet ClipTable::meantClips() const {
    return lines_.onlyProblems() ? lines_.shownClips(model_.selection()) : model_.selection();
}

void ClipTable::goToProblem(bool forward) {
    const QModelIndex problem = lines_.problem(currentIndex(), forward);
    if (!problem.isValid())
        return;
    for (QModelIndex folder = problem.parent(); folder.isValid(); folder = folder.parent())
        expand(folder);
    setCurrentIndex(problem);
    scrollTo(problem);
    setFocus();
}

/// The base class looks at the place of each cell, also of thousands that are far away.
void ClipTable::dataChanged(const QModelIndex& topLeft, const QModelIndex& bottomRight,
                            const QList<int>& roles) {
    constexpr int many = 50; // from then on the whole is painted, once
    changesSincePaint_ += topLeft.row() == bottomRight.row() ? 1 : many;
    if (changesSincePaint_ < many || QAccessible::isActive())
        QTreeView::dataChanged(topLeft, bottomRight, roles);
    else
        viewport()->update();
}

void ClipTable::paintEvent(QPaintEvent* event) {
    changesSincePaint_ = 0;
    QTreeView::paintEvent(event);
    if (lines_.rowCount() > 0)
        return;
    QPainter painter(viewport());
    painter.setPen(Icons::secondary(palette()));
    painter.drawText(viewport()->rect(), Qt::AlignCenter | Qt::TextWordWrap, tr("No clips with problems."));
}

/// One range a folder. The base class joins ranges, which costs the square of their number.
void ClipTable::selectAll() {
    QItemSelection selection;
    const auto take = [&](const QModelIndex& parent, const auto& again) -> void {
        const int rows = lines_.rowCount(parent);
        if (rows > 0)
            selection.append(QItemSelectionRange(lines_.index(0, 0, parent),
                                                 lines_.index(rows - 1, clipColumnCount - 1, parent)));
        for (int row = 0; row < rows; ++row)
            if (const QModelIndex index = lines_.index(row, 0, parent); isExpanded(index))
                again(index, again);
    };
    take(QModelIndex(), take);
    selectionModel()->select(selection, QItemSelectionModel::ClearAndSelect);
}

model::PathSet ClipTable::selectedIDs() const {
    // Whole lines are selected, always. The selection model's own list of rows costs the square of their
    // number.
    model::PathSet ids;
    for (const QItemSelectionRange& range : selectionModel()->selection())
        for (int row = range.top(); row <= range.bottom(); ++row)
            ids.insert(lines_.id(lines_.index(row, 0, range.parent())));
    return ids;
}

void ClipTable::selectionChanged(const QItemSelection& selected, const QItemSelection& deselected) {
    QTreeView::selectionChanged(selected, deselected);
    viewport()->update(); // the base class leaves the arrows out where lines run from right to left
    if (std::exchange(following_, true))
        return;
    model_.setSelection(selectedIDs());
    following_ = false;
    updateActions();
}

void ClipTable::updateActions() {
    const bool any = !selectionModel()->selection().isEmpty();
    remove_->setEnabled(any && !model_.packing());
    reveal_->setEnabled(any);
    nextProblem_->setEnabled(lines_.problems() > 0);
    previousProblem_->setEnabled(lines_.problems() > 0);
}

void ClipTable::contextMenuEvent(QContextMenuEvent* event) {
    if (event->reason() == QContextMenuEvent::Mouse && !indexAt(event->pos()).isValid())
        return;
    if (selectionModel()->selection().isEmpty())
        return;
    QPoint position = event->globalPos();
    if (event->reason() == QContextMenuEvent::Keyboard) {
        const QRect line = visualRect(currentIndex());
        position = viewport()->mapToGlobal(line.isValid() ? line.center() : viewport()->rect().center());
    }
    QMenu menu(this);
    menu.addActions({reveal_, remove_});
    menu.exec(position);
}

void ClipTable::keyPressEvent(QKeyEvent* event) {
    // The view's own search by typing would swallow Return, which is the default button's.
    if (event->key() == Qt::Key_Return || event->key() == Qt::Key_Enter) {
        event->ignore();
        return;
    }
    // Not every platform makes an event of this key.
    if (event->key() == Qt::Key_F10 && event->modifiers() == Qt::ShiftModifier) {
        QContextMenuEvent asked(QContextMenuEvent::Keyboard, viewport()->rect().center(),
                                viewport()->mapToGlobal(viewport()->rect().center()));
        contextMenuEvent(&asked);
        return;
    }
    QTreeView::keyPressEvent(event);
}

void ClipTable::resizeEvent(QResizeEvent* event) {
    QTreeView::resizeEvent(event);
    fitColumns();
}

/// Bands and selections go on behind the last column.
void ClipTable::drawRow(QPainter* painter, const QStyleOptionViewItem& option,
                        const QModelIndex& index) const {
    QTreeView::drawRow(painter, option, index);
    const int end = header()->length() - header()->offset();
    const int height = option.rect.height();
    if (end >= viewport()->width() || height <= 0)
        return;
    const QRect rest = QStyle::visualRect(layoutDirection(), viewport()->rect(),
                                          QRect(end, option.rect.y(), viewport()->width() - end, height));
    const bool odd = (option.rect.y() + verticalScrollBar()->value()) / height % 2 != 0;
    const auto group = isActiveWindow() ? QPalette::Active : QPalette::Inactive;
    painter->fillRect(rest, palette().brush(group, selectionModel()->isSelected(index) ? QPalette::Highlight
                                                   : odd ? QPalette::AlternateBase
                                                         : QPalette::Base));
}

/// The arrow of a selected folder has the colour of the text beside it.
void ClipTable::drawBranches(QPainter* painter, const QRect& rect, const QModelIndex& index) const {
    if (!selectionModel()->isSelected(index) || lines_.rowCount(index) == 0)
        return QTreeView::drawBranches(painter, rect, index);
    QStyleOption arrow;
    arrow.initFrom(this);
    const QColor colour = palette().color(QPalette::HighlightedText);
    for (const auto role : {QPalette::WindowText, QPalette::Text, QPalette::ButtonText})
        arrow.palette.setColor(role, colour);
    painter->fillRect(
        rect, palette().brush(isActiveWindow() ? QPalette::Active : QPalette::Inactive, QPalette::Highlight));
    constexpr int side = 9;
    const QRect cell =
        isRightToLeft() ? QRect(rect.left(), rect.top(), indentation(), rect.height())
                        : QRect(rect.right() + 1 - indentation(), rect.top(), indentation(), rect.height());
    arrow.rect = QRect(cell.center().x() - side / 2, cell.center().y() - side / 2, side, side);
    style()->drawPrimitive(isExpanded(index) ? QStyle::PE_IndicatorArrowDown
                           : isRightToLeft() ? QStyle::PE_IndicatorArrowLeft
                                             : QStyle::PE_IndicatorArrowRight,
                           &arrow, painter, this);
}

void ClipTable::showEvent(QShowEvent* event) {
    QTreeView::showEvent(event);
    setFocus();
}

} // namespace ui
