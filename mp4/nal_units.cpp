#include "mp4/nal_units.h"

using platform::Byte;

namespace {

constexpr std::uint32_t kStartCode = 0x00000001;
constexpr std::size_t kStartCodeSize = 4;

/// The first count bytes of the sample, or nothing where they pass the limit or the clip's end.
std::optional<std::span<Byte>> sample_up_to(std::size_t count, std::size_t limit, BoxReader& in) {
    if (count > limit) return std::nullopt;
    const std::span<Byte> sample = in.peek(count, limit);
    if (sample.size() < count) return std::nullopt;
    return sample;
}

}  // namespace

std::optional<std::span<const Byte>> insert_nal_tags(std::uint32_t size, std::uint32_t largest_sample_size,
                                                     std::size_t limit, BoxReader& in) {
    // One look at the whole sample, so that the window has it at once. Units that pass it ask for more.
    auto sample = sample_up_to(size, limit, in);
    std::size_t placed = 0;
    while (sample && placed < size) {
        sample = sample_up_to(placed + kStartCodeSize, limit, in);
        if (!sample) break;
        const auto prefix = sample->subspan(placed).first<kStartCodeSize>();
        const auto length = platform::load<std::endian::big, std::uint32_t>(prefix);
        if (length > largest_sample_size) return std::nullopt;
        platform::store<std::endian::big>(prefix, kStartCode);
        placed += kStartCodeSize + std::size_t{length};
        sample = sample_up_to(placed, limit, in);
    }
    if (!sample) return std::nullopt;
    in.consume(placed);
    return sample->first(placed);
}
