#pragma once

// Access to the host's records by address: reads and writes single fields and no other bytes. A null record
// is treated as all zeros.

#include <cstdint>

#include "platform/bytes.h"

namespace host_records {

/// Converts an address field to a pointer, and back.
template <typename T>
[[nodiscard]] T pointer_of(std::uint64_t address) noexcept {
    // NOLINTNEXTLINE(performance-no-int-to-ptr): records contain addresses as 64-bit integers
    return reinterpret_cast<T>(static_cast<std::uintptr_t>(address));
}
[[nodiscard]] inline std::uint64_t address_of(const void* pointer) noexcept {
    return static_cast<std::uint64_t>(reinterpret_cast<std::uintptr_t>(pointer));
}

/// A record that the module reads.
template <typename Layout>
class Input {
  public:
    explicit Input(const void* record) noexcept : record_(static_cast<const platform::Byte*>(record)) {}

    template <typename Field>
    [[nodiscard]] auto get() const noexcept {
        return Field::get(record_ == nullptr ? typename Layout::View(kZeros)
                                             : typename Layout::View(record_, Layout::size));
    }

  private:
    static constexpr typename Layout::Bytes kZeros{};

    const platform::Byte* record_;
};

/// A record that the module writes.
template <typename Layout>
class Output {
  public:
    explicit Output(void* record) noexcept : record_(static_cast<platform::Byte*>(record)) {}

    template <typename Field, typename T>
    void put(T value) const noexcept {
        if (record_ != nullptr) Field::put(typename Layout::MutableView(record_, Layout::size), value);
    }

  private:
    platform::Byte* record_;
};

}  // namespace host_records
