#pragma once

// The tables of one track, as stored in its boxes. ISO/IEC 14496-12, 8.2.2, 8.5.2, 8.6.1, 8.6.2, 8.7.3 to
// 8.7.5.

#include <algorithm>
#include <array>
#include <cstdint>
#include <utility>
#include <vector>

#include "mp4/box_types.h"
#include "platform/bytes.h"

/// Movie header. The times are in seconds, the duration is in units of the time scale.
struct MvhdEntry {
    std::uint64_t creation_time = 0;
    std::uint64_t modification_time = 0;
    std::uint64_t duration = 0;
    std::uint32_t timescale = 0;
};

struct SttsEntry {
    std::uint32_t sample_count = 0;
    std::uint32_t sample_delta = 0;
};
static_assert(sizeof(SttsEntry) == 2 * sizeof(std::uint32_t));  // the same words as in the file

/// Composition offsets, 8.6.1.3. Signed in both versions: some writers of version 0 store negative ones.
struct CttsEntry {
    std::uint32_t sample_count = 0;
    std::uint32_t sample_offset = 0;
};
static_assert(sizeof(CttsEntry) == 2 * sizeof(std::uint32_t));

/// 64-bit chunk offset, 8.7.5.
struct Co64Entry {
    std::uint32_t high = 0;
    std::uint32_t low = 0;
};
static_assert(sizeof(Co64Entry) == 2 * sizeof(std::uint32_t));

struct StscEntry {
    std::uint32_t first_chunk = 0;
    std::uint32_t samples_per_chunk = 0;
    std::uint32_t sample_description_index = 0;
};
static_assert(sizeof(StscEntry) == 3 * sizeof(std::uint32_t));

/// One sample description, read with the layout of a visual sample entry for any format. The configuration
/// fields are zero unless the format is "avc1".
struct StsdEntry {
    std::uint32_t size = 0;
    BoxType format = 0;
    std::uint16_t data_reference_index = 0;
    std::uint16_t pre_defined = 0;
    std::uint16_t reserved = 0;
    std::array<std::uint32_t, 3> pre_defined_words{};
    std::uint16_t width = 0;                  // pixels
    std::uint16_t height = 0;                 // pixels
    std::uint32_t horizontal_resolution = 0;  // pixels per inch, 16.16 fixed point
    std::uint32_t vertical_resolution = 0;
    std::uint32_t reserved_word = 0;
    std::uint16_t frame_count = 0;  // frames per sample
    std::array<platform::Byte, 8> compressor_name_head{};
    std::uint32_t configuration_size = 0;
    BoxType configuration_type = 0;
    std::uint8_t configuration_version = 0;
    std::uint8_t profile_indication = 0;
    std::uint8_t profile_compatibility = 0;
    std::uint8_t level_indication = 0;
    std::uint8_t nal_length_size_minus_one = 0;
    std::uint8_t sequence_parameter_sets = 0;
    std::uint16_t sequence_parameter_set_length = 0;
    std::uint8_t picture_parameter_sets = 0;
    std::uint16_t picture_parameter_set_length = 0;
};

/// Sizes in bytes of a track's samples in decoding order: a table, a compact table, or one size for all
/// samples. A compact table remains as it is in the file: decoded, small sizes would take eight times the
/// memory.
class SampleSizes {
  public:
    SampleSizes() = default;
    explicit SampleSizes(std::vector<std::uint32_t> sizes) : sizes_(std::move(sizes)) {}
    SampleSizes(std::uint32_t size_of_all, std::uint32_t count) : size_of_all_(size_of_all), count_(count) {}
    /// Sizes of 4, 8 or 16 bits; the first of two sizes of 4 bits is in the upper half of their byte.
    SampleSizes(std::vector<platform::Byte> packed, std::uint8_t bits, std::uint32_t count)
        : packed_(std::move(packed)), bits_(bits), count_(count) {}

    [[nodiscard]] bool compact() const noexcept { return !packed_.empty(); }
    [[nodiscard]] bool empty() const noexcept { return size() == 0; }
    [[nodiscard]] std::uint64_t size() const noexcept { return sizes_.empty() ? count_ : sizes_.size(); }
    [[nodiscard]] std::uint32_t at(std::uint64_t index) const {
        if (!sizes_.empty()) return sizes_[index];
        return packed_.empty() ? size_of_all_ : packed_at(index);
    }
    /// Not for a compact table.
    [[nodiscard]] std::uint32_t largest() const {
        return sizes_.empty() ? size_of_all_ : *std::max_element(sizes_.begin(), sizes_.end());
    }

  private:
    [[nodiscard]] std::uint32_t packed_at(std::uint64_t index) const {
        if (bits_ == 16)
            return platform::load<std::endian::big, std::uint16_t>(
                std::span(packed_).subspan(2 * index).first<2>());
        if (bits_ == 8) return packed_[index];
        const platform::Byte pair = packed_[index / 2];
        return index % 2 == 0 ? pair >> 4U : pair & 0x0FU;
    }

    std::vector<std::uint32_t> sizes_;
    std::vector<platform::Byte> packed_;
    std::uint8_t bits_ = 0;  // of each size in packed_
    std::uint32_t size_of_all_ = 0;
    std::uint32_t count_ = 0;  // unless sizes_ has them
};

/// Complete if the first five tables are not empty. Sync samples and movie headers are optional.
struct SampleTables {
    std::vector<std::uint32_t> chunk_offsets;  // bytes from the start of the file
    SampleSizes sample_sizes;
    std::vector<StscEntry> sample_to_chunk;
    std::vector<SttsEntry> time_to_sample;
    std::vector<StsdEntry> sample_descriptions;
    std::vector<std::uint32_t> sync_samples;  // numbers from 1; if empty, every sample is one
    std::vector<MvhdEntry> movie_headers;

    [[nodiscard]] bool complete() const noexcept {
        return !chunk_offsets.empty() && !sample_sizes.empty() && !sample_to_chunk.empty() &&
               !time_to_sample.empty() && !sample_descriptions.empty();
    }
};
