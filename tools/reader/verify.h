#pragma once

#include <cstdint>
#include <string>

#include "tools/reader/faults.h"
#include "tools/reader/recording.h"

namespace reader {

/// A recording read back. Times, frames and spans are what the entries say; the faults say how far to trust
/// them.
struct Report {
    std::string path;
    Moment first;
    Moment last;
    std::uint32_t frames = 0;
    std::uint32_t key_frames = 0;
    std::uint32_t spans = 0;
    std::uint64_t data_size = 0;   // bytes
    std::uint64_t index_size = 0;  // bytes
    FaultList faults;

    [[nodiscard]] bool verified() const { return faults.count() == 0; }
};

/// Checks both files of a recording completely against each other. Reads every entry, every packet header and
/// all padding; the payloads are not looked at. Memory does not grow with the recording.
[[nodiscard]] Report verify(Recording& recording);

}  // namespace reader
