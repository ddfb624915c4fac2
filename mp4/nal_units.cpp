#include "mp4/nal_units.h"

namespace {

constexpr std::uint32_t kStartCode = 0x00000001;
constexpr std::size_t kStartCodeSize = 4;

}  // namespace

std::int64_t insert_nal_tags(std::uint32_t size, std::uint32_t largest_sample_size, BoxReader& in,
                             std::span<platform::Byte> buffer) {
    std::size_t placed = 0;
    while (placed < size) {
        const std::uint32_t length = in.u32();
        if (!in.ok() || length > largest_sample_size) return kBadNalLength;
        if (buffer.size() - placed < kStartCodeSize + std::size_t{length}) return kBadNalLength;
        platform::store<std::endian::big>(buffer.subspan(placed).first<kStartCodeSize>(), kStartCode);
        placed += kStartCodeSize;
        in.read(buffer.subspan(placed, length));
        if (!in.ok()) return kBadNalLength;
        placed += length;
    }
    return static_cast<std::int64_t>(placed);
}
