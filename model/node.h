// SPDX-License-Identifier: GPL-3.0-or-later
// The folder tree of the clip list.
#pragma once

#include <filesystem>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "model/row.h"

namespace model {

/// A line of the tree: a clip, or a folder with at least one line below it.
struct Node {
    std::filesystem::path id; ///< the clip's source, or the source folder that the line stands for
    std::string name;
    std::shared_ptr<Row> row;                  ///< clip lines only
    std::optional<std::vector<Node>> children; ///< folder lines only

    /// All rows at or below this line, depth first.
    [[nodiscard]] std::vector<std::shared_ptr<Row>> clips() const;
};

/// The tree of these rows by their pack paths; each level in the file browser's order of names, clips and
/// folders mixed.
[[nodiscard]] std::vector<Node> tree(const std::vector<std::shared_ptr<Row>>& rows,
                                     const platform::TextOrder& order);

} // namespace model
