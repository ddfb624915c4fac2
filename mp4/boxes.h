#pragma once

// One class per box type. Each reads the fields in the standard's order and may read past the end of its box.
// The walk then skips the rest of the box, or continues where the reader stopped if that is further.

#include <cstdint>
#include <vector>

#include "mp4/box_reader.h"
#include "mp4/sample_tables.h"

/// Reads one box into one table. An object reads one box only.
class Box {
  public:
    Box() = default;
    Box(const Box&) = delete;
    Box& operator=(const Box&) = delete;
    virtual ~Box() = default;

    /// Starts after the box header. Returns the number of bytes consumed, 0 for an empty payload.
    virtual std::uint64_t parse(BoxReader& in, std::uint64_t payload) = 0;
};

/// Movie header, versions 0 and 1, ISO/IEC 14496-12, 8.2.2.
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

/// Composition offsets, ISO/IEC 14496-12, 8.6.1.3.
class CttsBox final : public Box {
  public:
    std::uint64_t parse(BoxReader& in, std::uint64_t payload) override;
    std::vector<CttsEntry> table;
};

/// 64-bit chunk offsets, ISO/IEC 14496-12, 8.7.5.
class Co64Box final : public Box {
  public:
    std::uint64_t parse(BoxReader& in, std::uint64_t payload) override;
    std::vector<Co64Entry> table;
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

/// Compact sample sizes, ISO/IEC 14496-12, 8.7.3.3. No table if the sizes do not have 4, 8 or 16 bits.
class Stz2Box final : public Box {
  public:
    std::uint64_t parse(BoxReader& in, std::uint64_t payload) override;
    SampleSizes table;
};

/// A table of 32-bit numbers: chunk offsets (ISO/IEC 14496-12, 8.7.5) and sync samples (8.6.2).
class NumbersBox : public Box {
  public:
    std::uint64_t parse(BoxReader& in, std::uint64_t payload) final;
    std::vector<std::uint32_t> table;
};
class StcoBox final : public NumbersBox {};
class StssBox final : public NumbersBox {};

/// Sample descriptions, ISO/IEC 14496-12, 8.5.2 and 12.1.3. The AVC configuration is the one of ISO/IEC
/// 14496-15, 5.3.3.1; its first sequence and its first picture parameter set are skipped.
class StsdBox final : public Box {
  public:
    std::uint64_t parse(BoxReader& in, std::uint64_t payload) override;
    std::vector<StsdEntry> table;
};
