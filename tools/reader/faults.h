#pragma once

#include <cstdint>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "platform/bytes.h"

namespace reader {

/// What becomes of a fault when the index is made anew from the data file and an incomplete end cut off.
enum class Repair { kNone, kByRebuilding };

/// Something that is not as a recording has it.
struct Fault {
    std::string file;
    std::uint64_t offset = 0;  // bytes from the start of the file
    std::string text;
    std::optional<std::uint32_t> entry = {};  // the number of the packet and its entry
    Repair mending = Repair::kNone;
};

/// "recording.ps: offset 12: what is wrong".
[[nodiscard]] std::string text_of(const Fault& fault);

/// The faults of one recording: counts all, keeps the first ones only, so that a file of nothing but faults
/// cannot fill the memory.
class FaultList {
  public:
    void add(Fault fault);

    [[nodiscard]] std::uint64_t count() const { return count_; }
    /// Those of Repair::kNone.
    [[nodiscard]] std::uint64_t lasting() const { return lasting_; }
    [[nodiscard]] const std::vector<Fault>& kept() const { return kept_; }

    static constexpr std::size_t kKept = 100;

  private:
    std::uint64_t count_ = 0;
    std::uint64_t lasting_ = 0;
    std::vector<Fault> kept_;
};

/// A part of a record with the name that a fault calls it by.
struct NamedPart {
    std::string_view name;
    std::size_t offset = 0;
    std::size_t length = 0;
};

template <typename Field>
[[nodiscard]] constexpr NamedPart part(std::string_view name) {
    return {name, Field::offset, Field::width};
}

/// Adds a fault for every part in which a record differs from what it should be. `record` says where it
/// stands and what it is called. Both spans have the same size.
void compare_parts(FaultList& faults, const Fault& record, std::span<const platform::Byte> found,
                   std::span<const platform::Byte> expected, std::span<const NamedPart> parts);

[[nodiscard]] bool all_zero(std::span<const platform::Byte> bytes);

}  // namespace reader
