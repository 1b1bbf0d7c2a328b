// SPDX-License-Identifier: GPL-3.0-or-later
// One clip of the list: what is known of it, and how its export goes.
#pragma once

#include <QString>
#include <memory>
#include <optional>
#include <string_view>
#include <vector>

#include "pack/clip_records.h"
#include "platform/text_order.h"

namespace model {

class ClipList;

/// Changed by its ClipList only, on the main thread; ClipList::rowChanged tells of every change.
class Row {
  public:
    /// Works out what the list's order needs, so it is best made off the main thread.
    Row(PackClip clip, const platform::TextOrder& order);
    Row(const Row&) = delete;
    Row& operator=(const Row&) = delete;

    [[nodiscard]] const PackClip& clip() const noexcept { return clip_; }
    [[nodiscard]] const std::filesystem::path& id() const noexcept { return clip_.source; }
    /// None until the clip has been probed.
    [[nodiscard]] const std::optional<ClipHeader>& header() const noexcept { return header_; }
    /// Why the clip can't be packed, for a person.
    [[nodiscard]] const std::optional<QString>& headerError() const noexcept { return headerError_; }
    /// What headerError leaves out ("The file ends too early."), or empty.
    [[nodiscard]] const QString& headerReason() const noexcept { return headerReason_; }
    /// Fraction of the copy written, 0 to 1; only while an export writes it.
    [[nodiscard]] const std::optional<double>& progress() const noexcept { return progress_; }
    /// How the last export of the clip ended.
    [[nodiscard]] const std::optional<Outcome>& result() const noexcept { return result_; }

    /// The clip can't be packed, was not packed, or was packed with remarks.
    [[nodiscard]] bool problem() const;
    /// Its only remark is that it has no sound, which is what was asked for.
    [[nodiscard]] bool isAsAsked() const noexcept { return asAsked_; }
    /// A problem that somebody should look at.
    [[nodiscard]] bool needsLook() const { return problem() && !asAsked_; }
    /// Whether an export takes it: its header has a timecode.
    [[nodiscard]] bool isPackable() const { return header_ && header_->timecode; }

    [[nodiscard]] const std::filesystem::path& standardizedSource() const noexcept { return standardized_; }
    /// The pack path's components; views of the clip's own text.
    [[nodiscard]] const std::vector<std::string_view>& components() const noexcept { return components_; }
    /// Byte-wise order of these is the list's order.
    [[nodiscard]] const std::string& pathKey() const noexcept { return pathKey_; }
    [[nodiscard]] const std::string& nameKey() const noexcept { return nameKey_; }

  private:
    friend class ClipList;

    const PackClip clip_;
    const std::filesystem::path standardized_;
    std::vector<std::string_view> components_;
    std::string pathKey_;
    std::string nameKey_;
    bool listed_ = false; ///< in ClipList::rows; a removed row may still be read
    std::optional<ClipHeader> header_;
    std::optional<QString> headerError_;
    QString headerReason_;
    std::optional<double> progress_;
    std::optional<Outcome> result_;
    bool asAsked_ = false;
};

/// A key by whose bytes texts sort as in a file browser; no two different texts have the same one.
[[nodiscard]] std::string sortKey(const platform::TextOrder& order, std::string_view text);

} // namespace model
