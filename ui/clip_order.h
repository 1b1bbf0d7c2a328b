// SPDX-License-Identifier: GPL-3.0-or-later
// Which lines of the folder tree the table shows, and in which order.
#pragma once

#include <Qt>
#include <vector>

#include "model/pack_model.h"
#include "ui/clip_columns.h"

namespace ui {

struct ClipOrder {
    ClipColumn column = ClipColumn::name; ///< names, ascending: the file browser's order
    Qt::SortOrder direction = Qt::AscendingOrder;
    bool onlyProblems = false; ///< clips to be looked at, and the folders that hold some

    [[nodiscard]] bool isTheTrees() const {
        return column == ClipColumn::name && direction == Qt::AscendingOrder && !onlyProblems;
    }
};

/// The tree in this order. Clips never leave their folders; in the order of another column than the name,
/// folders stand before the clips beside them, and clips without a value come last. Clips to be looked at
/// come first in the ascending order of Status.
[[nodiscard]] std::vector<model::Node> ordered(const std::vector<model::Node>& nodes, const ClipOrder& order);

} // namespace ui
