// SPDX-License-Identifier: GPL-3.0-or-later
// The folder tree of a PackModel for the toolkit's views.
#pragma once

#include <QAbstractItemModel>
#include <QTimer>
#include <memory>
#include <span>
#include <unordered_map>
#include <vector>

#include "ui/clip_cells.h"
#include "ui/clip_order.h"

namespace ui {

/// Lines come, go and change in place: views keep their scroll position, expansion and selection. Changes of
/// rows are told together, once a frame.
class ClipTableModel : public QAbstractItemModel {
    Q_OBJECT

  public:
    /// Beside the usual roles, for the Status column: a StatusLook, and a fraction.
    enum Role { statusRole = Qt::UserRole, progressRole };

    explicit ClipTableModel(model::PackModel& model, QObject* parent = nullptr);
    ~ClipTableModel() override;

    /// The id of a line, and the lines with an id.
    [[nodiscard]] const std::filesystem::path& id(const QModelIndex& index) const;
    [[nodiscard]] QModelIndexList indexes(const model::PathSet& ids) const;
    [[nodiscard]] bool isFolder(const QModelIndex& index) const;
    /// The clips that are shown and have one of these ids, or lie below a folder that has.
    [[nodiscard]] model::PathSet shownClips(const model::PathSet& ids) const;

    /// Shows only clips to be looked at; clips that are added end that, so that they are seen.
    void setOnlyProblems(bool only);
    [[nodiscard]] bool onlyProblems() const { return order_.onlyProblems; }
    /// Clips to be looked at, and the line of the next one from a line on.
    [[nodiscard]] int problems() const;
    [[nodiscard]] QModelIndex problem(const QModelIndex& from, bool forward) const;
    /// The order of a column inside of the folders; that of the file browser for -1. What changes while clips
    /// are packed finds its place when the export ends.
    void sort(int column, Qt::SortOrder direction) override;

    QModelIndex index(int row, int column, const QModelIndex& parent = {}) const override;
    QModelIndex parent(const QModelIndex& index) const override;
    int rowCount(const QModelIndex& parent = {}) const override;
    int columnCount(const QModelIndex& parent = {}) const override;
    QVariant data(const QModelIndex& index, int role) const override;
    QVariant headerData(int section, Qt::Orientation orientation, int role) const override;

  Q_SIGNALS:
    /// The lines have followed the model's.
    void synchronized();
    void onlyProblemsChanged(bool only);
    void problemsChanged();

  private:
    struct Item;

    [[nodiscard]] Item& item(const QModelIndex& index) const;
    [[nodiscard]] QModelIndex indexOf(const Item& item, int column = 0) const;
    void synchronize();
    void follow(const std::vector<model::Node>& nodes);
    static bool isInOrder(const Item& parent, const std::vector<model::Node>& nodes);
    static void reorder(Item& parent, const std::vector<model::Node>& nodes);
    void orderSoon();
    void synchronizeLevel(Item& parent, const std::vector<model::Node>& nodes);
    void insert(Item& parent, std::size_t at, std::span<const model::Node> nodes);
    void remove(Item& parent, std::size_t first, std::size_t count);
    std::unique_ptr<Item> makeItem(Item& parent, const model::Node& node);
    void forget(const Item& item);
    void recount(Item& item);

    void rowChanged(const std::shared_ptr<model::Row>& row);
    void changed(Item& item);
    void tellChanges();

    [[nodiscard]] QString display(const Item& item, ClipColumn column) const;
    [[nodiscard]] StatusCell status(const Item& item) const;

    model::PackModel& model_;
    std::unique_ptr<Item> root_;
    std::unordered_map<const model::Row*, Item*> items_;
    std::vector<Item*> changed_;
    QTimer telling_;
    ClipOrder order_;
    QTimer ordering_;
    std::size_t rowCount_ = 0;
};

} // namespace ui
