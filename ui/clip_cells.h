// SPDX-License-Identifier: GPL-3.0-or-later
// What the cells of a clip's line say.
#pragma once

#include <QString>
#include <QStringList>

#include "model/pack_model.h"
#include "ui/clip_columns.h"

namespace ui {

/// How a Status cell looks.
enum class StatusLook { plain, secondary, warning, progress };

struct StatusCell {
    StatusLook look = StatusLook::plain;
    QString text{};
    QString toolTip{}; ///< plain text; empty when there is nothing to add
};

/// The text of a clip's cell, except its Status; empty for what the clip does not tell.
[[nodiscard]] QString cellText(const model::Row& row, ClipColumn column);
[[nodiscard]] StatusCell statusCell(const model::Row& row, const model::PackModel& model);
/// Of a folder: how many clips below it should be looked at, and in the tooltip their names and why; how many
/// carry nothing but the remark that was asked for.
[[nodiscard]] StatusCell statusCell(const std::vector<std::shared_ptr<model::Row>>& problems, int asAsked,
                                    const model::PackModel& model);

} // namespace ui
