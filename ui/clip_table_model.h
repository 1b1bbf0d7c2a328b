// SPDX-License-Identifier: GPL-3.0-or-later
// The folder tree of a PackModel for the toolkit's views.
#pragma once

#include <QAbstractItemModel>
#include <QTimer>
#include <memory>
#include <span>
#include <unordered_map>
#include <vector>

#include "model/pack_model.h"

/// Lines come, go and change in place: views keep their scroll position, expansion and selection. Changes of
/// rows are told together, once a frame.
class ClipTableModel : public QAbstractItemModel {
    Q_OBJECT

  public:
    /// Beside the usual roles, for the Status column.
    enum Role { statusRole = Qt::UserRole, progressRole };
    /// How a Status cell looks; its text is the display role's.
    enum class Status { plain, secondary, warning, progress };

    explicit ClipTableModel(PackModel& model, QObject* parent = nullptr);
    ~ClipTableModel() override;

    /// The id of a line, and the lines with an id.
    [[nodiscard]] const std::filesystem::path& id(const QModelIndex& index) const;
    [[nodiscard]] QModelIndexList indexes(const PathSet& ids) const;
    [[nodiscard]] bool isFolder(const QModelIndex& index) const;

    QModelIndex index(int row, int column, const QModelIndex& parent = {}) const override;
    QModelIndex parent(const QModelIndex& index) const override;
    int rowCount(const QModelIndex& parent = {}) const override;
    int columnCount(const QModelIndex& parent = {}) const override;
    QVariant data(const QModelIndex& index, int role) const override;
    QVariant headerData(int section, Qt::Orientation orientation, int role) const override;

  Q_SIGNALS:
    /// The lines have followed the model's.
    void synchronized();

  private:
    struct Item;

    [[nodiscard]] Item& item(const QModelIndex& index) const;
    [[nodiscard]] QModelIndex indexOf(const Item& item, int column = 0) const;
    void synchronize();
    void synchronizeLevel(Item& parent, const std::vector<Node>& nodes);
    void insert(Item& parent, std::size_t at, std::span<const Node> nodes);
    void remove(Item& parent, std::size_t first, std::size_t count);
    std::unique_ptr<Item> makeItem(Item& parent, const Node& node);
    void forget(const Item& item);
    int recount(Item& item);

    void rowChanged(const std::shared_ptr<Row>& row);
    void changed(Item& item);
    void tellChanges();

    [[nodiscard]] QString display(const Item& item, int column) const;
    [[nodiscard]] std::pair<Status, QString> status(const Item& item) const;
    [[nodiscard]] QString statusToolTip(const Item& item) const;

    PackModel& model_;
    std::unique_ptr<Item> root_;
    std::unordered_map<const Row*, Item*> items_;
    std::vector<Item*> changed_;
    QTimer telling_;
};
