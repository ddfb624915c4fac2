#pragma once

#include <cstdint>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "platform/bytes.h"

namespace reader {

/// How a fault can be removed: not at all; by rebuilding the index from the data file and cutting off an
/// incomplete last packet; or by writing the right bytes, which are known, into the data file.
enum class Repair { kNone, kByRebuilding, kByCorrecting };

/// Bytes of the data file that have to be different.
struct Correction {
    std::uint64_t offset = 0;  // bytes from the start of the data file
    std::vector<platform::Byte> bytes;
};

/// The number of fields of the head or of one packet header that may be wrong for the others to be trusted.
inline constexpr std::size_t kMaxWrongFields = 3;

/// A deviation from the recording format.
struct Fault {
    std::string file;
    std::uint64_t offset = 0;  // bytes from the start of the file
    std::string text;
    std::optional<std::uint32_t> entry = {};  // number of the packet and of its entry
    Repair repair = Repair::kNone;
};

/// "recording.ps: offset 12: <text>".
[[nodiscard]] std::string text_of(const Fault& fault);

/// The faults of one recording. Counts all of them but keeps only the first kKept, to limit memory use.
class FaultList {
  public:
    void add(Fault fault);

    [[nodiscard]] std::uint64_t count() const { return count_; }
    [[nodiscard]] std::uint64_t unrepairable() const { return unrepairable_; }
    [[nodiscard]] const std::vector<Fault>& kept() const { return kept_; }

    static constexpr std::size_t kKept = 100;

  private:
    std::uint64_t count_ = 0;
    std::uint64_t unrepairable_ = 0;
    std::vector<Fault> kept_;
};

/// A field of a record and its name in fault texts.
struct NamedField {
    std::string_view name;
    std::size_t offset = 0;
    std::size_t length = 0;
};

template <typename Field>
[[nodiscard]] constexpr NamedField field(std::string_view name) {
    return {name, Field::offset, Field::width};
}

/// Adds a fault for every field in which `found` and `expected` differ. `record` has the position, the name
/// and the repair of the record. Both spans have the same size. Returns the corrections of the fields.
std::vector<Correction> compare_fields(FaultList& faults, const Fault& record,
                                       std::span<const platform::Byte> found,
                                       std::span<const platform::Byte> expected,
                                       std::span<const NamedField> fields);

/// The number of fields in which the two spans differ.
[[nodiscard]] std::size_t different_fields(std::span<const platform::Byte> found,
                                           std::span<const platform::Byte> expected,
                                           std::span<const NamedField> fields);

/// Replaces the bytes of a record, which is at `offset` in the data file, by those of the corrections, which
/// are sorted by offset.
void apply_corrections(std::span<const Correction> corrections, std::uint64_t offset,
                       std::span<platform::Byte> record);

[[nodiscard]] bool all_zero(std::span<const platform::Byte> bytes);

}  // namespace reader
