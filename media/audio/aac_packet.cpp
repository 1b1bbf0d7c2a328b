// SPDX-License-Identifier: GPL-3.0-or-later
#include "media/audio/aac_packet.h"

namespace media::audio {

std::optional<AACWindow> aacWindow(std::span<const std::byte> packet) {
    constexpr std::size_t longestHead = 3; // bytes that hold everything up to window_shape
    if (packet.size() < longestHead)
        return std::nullopt;
    const auto bits = [&](unsigned offset, unsigned count) {
        unsigned head = 0;
        for (std::size_t i = 0; i < longestHead; ++i)
            head = head << 8 | std::to_integer<unsigned>(packet[i]);
        return head >> (8 * longestHead - offset - count) & ((1U << count) - 1);
    };
    constexpr unsigned singleChannel = 0;
    constexpr unsigned channelPair = 1;
    // id_syn_ele 3, element_instance_tag 4; then a single channel has global_gain 8, a pair common_window 1;
    // then ics_info: reserved 1, window_sequence 2, window_shape 1.
    unsigned sequence = 0;
    if (bits(0, 3) == singleChannel)
        sequence = 16;
    else if (bits(0, 3) == channelPair && bits(7, 1) == 1)
        sequence = 9;
    else
        return std::nullopt;
    return AACWindow{static_cast<std::uint8_t>(bits(sequence, 2)),
                     static_cast<std::uint8_t>(bits(sequence + 2, 1))};
}

} // namespace media::audio
