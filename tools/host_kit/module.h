#pragma once

// The entry points as typed calls. The kit fills each input record and checks that a call writes nothing past
// its output record.

#include <algorithm>
#include <array>
#include <span>

#include "plugin/interfaces/host_records.h"

namespace host_kit {

/// Takes an input and an output record and returns 0. The result is in the output record.
using EntryPoint = std::int32_t(const void* input, void* output);

/// The module's eight functions: loaded from a file (module_library.h) or linked into the program.
struct EntryPoints {
    EntryPoint* load = nullptr;
    EntryPoint* unload = nullptr;
    EntryPoint* open = nullptr;
    EntryPoint* close = nullptr;
    EntryPoint* read = nullptr;
    EntryPoint* write = nullptr;
    EntryPoint* seek = nullptr;
    EntryPoint* ioctl = nullptr;
};

/// Fills every record before its fields are set: an output record then shows which bytes were written, and an
/// input record has no zeros that the module could rely on.
inline constexpr platform::Byte kUnwritten = 0xA5;

template <typename Layout>
[[nodiscard]] constexpr typename Layout::Bytes unwritten() {
    typename Layout::Bytes bytes{};
    bytes.fill(kUnwritten);
    return bytes;
}

/// A record with one field set.
template <typename Layout, typename Field, typename T>
[[nodiscard]] typename Layout::Bytes with(T value, typename Layout::Bytes bytes = unwritten<Layout>()) {
    Field::put(bytes, value);
    return bytes;
}

/// Allocates nothing and locks nothing. Each call returns its output record.
class Module {
  public:
    /// Called if an entry point does not return 0 or writes past its output record.
    using FaultHandler = void (*)(const char* fault);

    Module(const EntryPoints& entry_points, FaultHandler on_fault)
        : entry_points_(entry_points), on_fault_(on_fault) {}

    host_records::ModuleInfo::Bytes load(host_records::HostCallback callback) const;
    auto unload() const { return call<host_records::CloseResult>(entry_points_.unload); }
    auto open() const { return call<host_records::OpenResult>(entry_points_.open); }
    auto close() const { return call<host_records::CloseResult>(entry_points_.close); }
    auto read() const { return call<host_records::ReadResult>(entry_points_.read); }
    auto seek() const { return call<host_records::SeekResult>(entry_points_.seek); }
    /// OWNERSHIP: the caller keeps the text unchanged until the module releases it. A refused text is not
    /// kept.
    host_records::WriteResult::Bytes write(const char* text, std::uint32_t length, std::uint8_t refused = 0,
                                           std::uint32_t identifier = 1) const;
    /// The same for kQueueMessage.
    host_records::IoctlResult::Bytes ioctl(std::uint32_t code, const char* text = nullptr,
                                           std::uint32_t length = 0) const;

    template <typename Layout>
    typename Layout::Bytes call(EntryPoint* entry_point, const void* input = nullptr) const {
        std::array<platform::Byte, Layout::size + kGuardSize> memory{};
        call_checked(entry_point, input, memory, Layout::size);
        typename Layout::Bytes output{};
        std::copy_n(memory.begin(), output.size(), output.begin());
        return output;
    }

    [[nodiscard]] const EntryPoints& entry_points() const { return entry_points_; }

  private:
    static constexpr std::size_t kGuardSize = 64;

    void call_checked(EntryPoint* entry_point, const void* input, std::span<platform::Byte> memory,
                      std::size_t output_size) const;

    EntryPoints entry_points_;
    FaultHandler on_fault_;
};

}  // namespace host_kit
