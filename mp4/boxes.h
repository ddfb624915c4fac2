#pragma once

// One reader a box, in the standard's field order. Each reads its fields without looking at where its box
// ends; the walk skips what is left of the box, and goes on from where the reader stopped when it went
// further.

#include <cstdint>
#include <vector>

#include "mp4/box_reader.h"
#include "mp4/sample_tables.h"

/// Reads one box into one table. A reader is used once.
class Box {
  public:
    Box() = default;
    Box(const Box&) = delete;
    Box& operator=(const Box&) = delete;
    virtual ~Box() = default;

    /// Reads from behind the box header; the count of bytes consumed. A payload of 0 bytes reads nothing.
    virtual std::uint64_t parse(BoxReader& in, std::uint64_t payload) = 0;
};

/// Movie header, ISO/IEC 14496-12, 8.2.2, in both versions.
class MvhdBox final : public Box {
  public:
    std::uint64_t parse(BoxReader& in, std::uint64_t payload) override;
    std::vector<MvhdEntry> table;
};

/// Time to sample, ISO/IEC 14496-12, 8.6.1.2.
class SttsBox final : public Box {
  public:
    std::uint64_t parse(BoxReader& in, std::uint64_t payload) override;
    std::vector<SttsEntry> table;
};

/// Sample to chunk, ISO/IEC 14496-12, 8.7.4.
class StscBox final : public Box {
  public:
    std::uint64_t parse(BoxReader& in, std::uint64_t payload) override;
    std::vector<StscEntry> table;
};

/// Sample sizes, ISO/IEC 14496-12, 8.7.3.2.
class StszBox final : public Box {
  public:
    std::uint64_t parse(BoxReader& in, std::uint64_t payload) override;
    SampleSizes table;
};

/// A table of bare numbers: chunk offsets (ISO/IEC 14496-12, 8.7.5) and sync samples (8.6.2).
class NumbersBox : public Box {
  public:
    std::uint64_t parse(BoxReader& in, std::uint64_t payload) final;
    std::vector<std::uint32_t> table;
};
class StcoBox final : public NumbersBox {};
class StssBox final : public NumbersBox {};

/// Sample descriptions, ISO/IEC 14496-12, 8.5.2 and 12.1.3; the AVC configuration is that of ISO/IEC
/// 14496-15, 5.3.3.1, of which one sequence and one picture parameter set are passed over.
class StsdBox final : public Box {
  public:
    std::uint64_t parse(BoxReader& in, std::uint64_t payload) override;
    std::vector<StsdEntry> table;
};
