// SPDX-License-Identifier: GPL-3.0-or-later
// Local sets of header metadata and the types of their properties (SMPTE ST 377-1, 9.3 and annexes A and B).
#pragma once

#include <chrono>
#include <cstdint>
#include <map>
#include <optional>
#include <span>
#include <string>
#include <vector>

#include "media/base/time.h"
#include "media/mxf/partition.h"

namespace media::mxf {

/// One set: its kind and its properties by local tag. An absent, empty or malformed property reads as none.
class LocalSet {
  public:
    LocalSet(std::uint8_t kind, std::span<const std::byte> value)
        : kind_(kind), value_(value.begin(), value.end()) {}

    [[nodiscard]] std::uint8_t kind() const noexcept { return kind_; }
    [[nodiscard]] std::optional<std::uint64_t> number(std::uint16_t tag) const;  ///< 1, 2, 4 or 8 bytes
    [[nodiscard]] std::optional<std::int64_t> position(std::uint16_t tag) const; ///< 8 bytes, signed
    [[nodiscard]] std::optional<Rational> rational(std::uint16_t tag) const;
    [[nodiscard]] std::optional<Label> label(std::uint16_t tag) const;
    [[nodiscard]] std::optional<Umid> umid(std::uint16_t tag) const;
    /// References and labels of an array or batch.
    [[nodiscard]] std::vector<Label> labels(std::uint16_t tag) const;
    /// UTF-16 as UTF-8, up to the first terminator.
    [[nodiscard]] std::string text(std::uint16_t tag) const;
    [[nodiscard]] std::optional<std::chrono::system_clock::time_point> timestamp(std::uint16_t tag) const;

  private:
    [[nodiscard]] std::span<const std::byte> item(std::uint16_t tag) const;

    std::uint8_t kind_;
    std::vector<std::byte> value_;
};

/// One copy of the header metadata: its sets by instance, and in file order.
class MetadataSets {
  public:
    /// Reads the sets that follow the pack of `partition`, in whatever order they stand. Reads values only of
    /// sets that we know. Throws Error when they can't be read.
    MetadataSets(const io::ByteSource& source, const Partition& partition);

    [[nodiscard]] const std::vector<const LocalSet*>& inOrder() const noexcept { return order_; }
    /// The set that a strong reference names; none when it is missing.
    [[nodiscard]] const LocalSet* find(const Label& instance) const;
    /// The set that property `tag` of `set` refers to.
    [[nodiscard]] const LocalSet* referred(const LocalSet& set, std::uint16_t tag) const;
    /// The sets that an array of references names, the missing ones left out.
    [[nodiscard]] std::vector<const LocalSet*> referredAll(const LocalSet& set, std::uint16_t tag) const;
    /// The tag by which this copy's primer stands for a property without a fixed one.
    [[nodiscard]] std::optional<std::uint16_t> dynamicTag(const Label& property) const;

  private:
    void readPrimer(std::span<const std::byte> value);

    std::map<Label, LocalSet> sets_;
    std::vector<const LocalSet*> order_;
    std::vector<std::pair<std::uint16_t, Label>> primer_;
};

} // namespace media::mxf
