// SPDX-License-Identifier: GPL-3.0-or-later
// What there is to say of places that gave no clips, or could not be listed.
#pragma once

#include <QString>
#include <QStringList>
#include <filesystem>
#include <vector>

#include "model/path_set.h"
#include "pack/discovery.h"

namespace model {

class PlaceRemarks {
  public:
    [[nodiscard]] QStringList sentences() const;

    /// `asked` was looked through: `places` gave none. `isNew`: clips have come; `isKnown`: some were listed
    /// before.
    void looked(const std::vector<std::filesystem::path>& asked, bool isNew, bool isKnown,
                const std::vector<Pack::Place>& places);
    /// Lines of the list were removed; what lies below them is of no interest.
    void removed(const PathSet& ids, bool all);
    /// What is said of the last addition alone.
    void forgetNotice() { notice_.clear(); }

  private:
    QString notice_; ///< of the last addition
    std::vector<Pack::Place> unlisted_;
};

} // namespace model
