// SPDX-License-Identifier: GPL-3.0-or-later
#include "platform/byte_count.h"

#include <array>

namespace platform {

namespace {

struct Unit {
    const char* name;
    std::uint64_t size;
    std::uint64_t step; ///< the smallest difference shown, in bytes
};

constexpr std::array units{
    Unit{"KB", 1'000, 1'000},
    Unit{"MB", 1'000'000, 100'000},
    Unit{"GB", 1'000'000'000, 10'000'000},
    Unit{"TB", 1'000'000'000'000, 10'000'000'000},
    Unit{"PB", 1'000'000'000'000'000, 10'000'000'000'000},
};

} // namespace

std::string byteCount(std::int64_t bytes, std::string_view decimalMark) {
    const std::string sign = bytes < 0 ? "-" : "";
    const std::uint64_t size =
        bytes < 0 ? 0 - static_cast<std::uint64_t>(bytes) : static_cast<std::uint64_t>(bytes);
    if (size < 1000)
        return sign + std::to_string(size) + (size == 1 ? " byte" : " bytes");
    for (const Unit& unit : units) {
        // Rounded first: 999,999 bytes are 1 MB, not 1000 KB.
        const std::uint64_t steps = size / unit.step + (size % unit.step >= unit.step / 2 ? 1 : 0);
        const std::uint64_t stepsPerUnit = unit.size / unit.step;
        const bool largest = &unit == &units.back();
        if (steps >= 1000 * stepsPerUnit && !largest)
            continue;
        std::string text = sign + std::to_string(steps / stepsPerUnit);
        if (const std::uint64_t rest = steps % stepsPerUnit; rest != 0) {
            std::string decimals = std::to_string(stepsPerUnit + rest).substr(1);
            decimals.erase(decimals.find_last_not_of('0') + 1);
            text.append(decimalMark).append(decimals);
        }
        return text.append(" ").append(unit.name);
    }
    return {};
}

} // namespace platform
