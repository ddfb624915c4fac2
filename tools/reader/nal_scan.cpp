#include "tools/reader/nal_scan.h"

#include <algorithm>

namespace reader {

std::vector<NalUnit> nal_units(std::span<const platform::Byte> bytes) {
    constexpr auto& kStart = h264::kShortStartCode;
    std::vector<NalUnit> units;
    for (auto from = bytes.begin();;) {
        const auto hit = std::search(from, bytes.end(), kStart.begin(), kStart.end());
        if (bytes.end() - hit <= static_cast<std::ptrdiff_t>(kStart.size())) return units;
        const auto at = static_cast<std::size_t>(hit - bytes.begin());
        const bool long_code = at > 0 && bytes[at - 1] == 0;
        const platform::Byte header = bytes[at + kStart.size()];
        units.push_back({long_code ? at - 1 : at, h264::nal_type(header), h264::has_forbidden_bit(header)});
        from = hit + static_cast<std::ptrdiff_t>(kStart.size());
    }
}

std::span<const platform::Byte> unit_at(std::span<const platform::Byte> bytes,
                                        const std::vector<NalUnit>& units, std::size_t i) {
    const bool short_code = bytes[units[i].offset + 2] == h264::kShortStartCode.back();
    const std::size_t begin =
        units[i].offset + (short_code ? h264::kShortStartCode.size() : h264::kStartCode.size());
    const std::size_t end = i + 1 < units.size() ? units[i + 1].offset : bytes.size();
    return bytes.subspan(begin, end - begin);
}

}  // namespace reader
