// SPDX-License-Identifier: GPL-3.0-or-later
// Movie-level metadata: `meta` with keys, iTunes lists, user data texts; and the recording date among them.
#pragma once

#include <string_view>
#include <vector>

#include "media/quicktime/box.h"
#include "media/track/container.h"

namespace media::quicktime {

/// Appends the items of a `udta` or `meta` box. Identifiers are "mdta/" with the key, "itsk/" with the list's
/// code, "udta/" with the user data type (© as itself). What is damaged is left out.
void readMetadata(Window& window, const Box& box, std::vector<MetadataItem>& items);

/// The recording date: creation-date metadata, else the ©day text, else the movie header's creation time
/// (seconds since 1904 UTC) where it is not zero.
[[nodiscard]] std::optional<Container::Date> recordingDate(const std::vector<MetadataItem>& items,
                                                           std::uint64_t movieCreationTime);

/// A date and time of ISO 8601 ("2019-07-14T12:30:05+0300", "…Z", without a zone local time, or a date
/// alone). None when it isn't one.
[[nodiscard]] std::optional<Container::Date> parseDate(std::string_view text);

} // namespace media::quicktime
