// SPDX-License-Identifier: GPL-3.0-or-later
// A line of ClipTableModel, for its own files.
#pragma once

#include <filesystem>
#include <functional>
#include <memory>
#include <string>
#include <tuple>
#include <utility>
#include <vector>

#include "ui/clip_table_model.h"

namespace ui {

/// A line. Folders know how many of the clips below them have a problem.
struct ClipTableModel::Item {
    Item* parent = nullptr;
    std::size_t place = 0;          ///< among the parent's children
    std::filesystem::path folder{}; ///< a clip's path is its row's
    std::string name{};
    std::shared_ptr<model::Row> row{};
    std::vector<std::unique_ptr<Item>> children{};
    int problems = 0; ///< clips to be looked at; of a clip 0 or 1
    int asAsked = 0;  ///< clips with nothing but the remark that was asked for
    bool changed = false;

    [[nodiscard]] const std::filesystem::path& id() const { return row ? row->id() : folder; }
    [[nodiscard]] std::pair<int, int> counts() const { return {problems, asAsked}; }
    [[nodiscard]] auto key() const {
        return std::tuple(row.get(), std::cref(id().native()), std::cref(name));
    }
};

} // namespace ui
