// SPDX-License-Identifier: GPL-3.0-or-later
// The sound of a frame-wrapped container, content package by content package: found by the index or by
// hopping.
#pragma once

#include <cstdint>
#include <memory>
#include <vector>

#include "media/mxf/essence.h"

namespace media::mxf {

/// The sound elements of one content package.
struct SoundPackage {
    struct Part {
        std::size_t offset = 0; ///< of its value in the bytes read
        std::size_t bytes = 0;
        bool isPresent = false;
    };
    std::vector<Part> parts; ///< by stream
    Position start;          ///< of its first element, sound or not
    std::uint64_t begin = 0; ///< of the first sound element's key; 0 without sound
    std::uint64_t end = 0;   ///< of the last sound element
};

/// Steps from one content package to the next. One thread.
class PackageWalker {
  public:
    /// What is read of each package: nothing, all of its sound, or one stream.
    enum class Use { count, all, one };
    PackageWalker(const EssenceMap& map, KlvReader& reader, Use use, std::size_t only = 0);

    /// The next package that is there as a whole; false at the end of what was recorded. Appends the values
    /// of its sound elements to `bytes`.
    bool next(SoundPackage& package, std::vector<std::byte>& bytes);
    /// Continues at the first package.
    void restart() noexcept { walker_.restart(); }
    /// Continues at the start of a package.
    void moveTo(Position position) { walker_.moveTo(position); }
    /// Continues at a package's first sound element, as the index has it.
    void moveToSound(Position position);
    /// Lets the disk begin with the sound of a package that starts there, if it is like the last one.
    void announce(Position sound) const;

  private:
    /// Where a sound element lies, from the package's first one on.
    struct Place {
        std::size_t stream = 0;
        std::uint64_t offset = 0;
        std::uint64_t end = 0;
        std::uint64_t readEnd =
            0; ///< where a read that starts here is to end; 0 where the one before goes on
    };
    [[nodiscard]] std::size_t streamOf(const Klv& element) const noexcept;
    void read(const Klv& element, std::size_t stream, SoundPackage& package, std::vector<std::byte>& bytes);
    void prefetch(std::uint64_t begin, std::size_t element);
    void jump(const SoundPackage& package);
    void remember(const SoundPackage& package);
    void planReads();

    const EssenceMap& map_;
    KlvReader& reader_;
    ElementWalker walker_;
    Use use_;
    std::size_t only_;
    std::uint64_t slack_ =
        0; ///< bytes by which an element may be longer than the same one in the package before
    std::vector<Place> places_; ///< of the last whole package, which this one most likely resembles
    std::vector<Place> found_;  ///< of this one
    std::uint64_t lastBegin_ = 0;
};

/// Finds and reads content packages in any order, fastest in turn. One thread.
class PackageReader {
  public:
    /// `only`: the one stream that is wanted; all of them without.
    explicit PackageReader(std::shared_ptr<const EssenceMap> map,
                           std::optional<std::size_t> only = std::nullopt);

    /// Reads content package `unit` and appends its sound to `bytes`; false behind the last one.
    bool read(std::int64_t unit, SoundPackage& package, std::vector<std::byte>& bytes);
    /// Lets the disk begin with `count` content packages that will be read in turn, where the index has them.
    void announce(std::int64_t unit, std::int64_t count);

  private:
    bool readByIndex(std::int64_t unit, SoundPackage& package, std::vector<std::byte>& bytes);
    bool readByWalking(std::int64_t unit, SoundPackage& package, std::vector<std::byte>& bytes);
    [[nodiscard]] std::optional<Position> indexed(std::int64_t unit, std::optional<ElementPlace> place);
    bool isAdvancing(std::int64_t unit, Position position);

    std::shared_ptr<const EssenceMap> map_;
    KlvReader reader_;
    KlvReader entries_;
    StreamMap stream_;
    PackageWalker walker_;
    bool useIndex_;
    std::int64_t nextUnit_ = 0;  ///< at which the walker stands; below 0 unknown
    Position lastIndexed_;       ///< where the index led to last
    std::int64_t lastUnit_ = -1; ///< of that
    /// Places passed, one every `checkpointUnits` packages, so that going back costs little.
    std::vector<Position> checkpoints_;
};

} // namespace media::mxf
