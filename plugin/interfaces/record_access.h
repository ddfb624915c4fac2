#pragma once

// How the entry points reach the host's records: through addresses, field by field, touching nothing else. A
// host that passes no record at all is answered like one that passes zeros.

#include <cstdint>

#include "platform/bytes.h"

namespace host_records {

/// An address field's value as the pointer that it is, and back.
template <typename T>
[[nodiscard]] T pointer_of(std::uint64_t address) noexcept {
    // NOLINTNEXTLINE(performance-no-int-to-ptr): the record's field is an integer by the host's definition
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
        return Field::get(record_ == nullptr ? typename Layout::View(kNothing)
                                             : typename Layout::View(record_, Layout::size));
    }

  private:
    static constexpr typename Layout::Bytes kNothing{};

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
