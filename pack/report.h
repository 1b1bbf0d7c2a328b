// SPDX-License-Identifier: GPL-3.0-or-later
// The CSV report of a pack: one line for every clip, packed or not.
#pragma once

#include <span>
#include <utility>

#include "pack/clip_records.h"

namespace Pack {

inline constexpr std::string_view reportName = "Ferrowick Report.csv";

/// The report's whole text: UTF-8, 16 columns, line feeds (RFC 4180 quoting).
[[nodiscard]] std::string report(std::span<const std::pair<PackClip, Outcome>> outcomes, ScratchAudio audio);

} // namespace Pack
