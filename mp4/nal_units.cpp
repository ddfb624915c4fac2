#include "mp4/nal_units.h"

#include <algorithm>

#include "mp4/nal_syntax.h"

using platform::Byte;

namespace {

constexpr std::size_t kTagSize = h264::kStartCode.size();

/// The first `count` bytes of the sample; nothing if they exceed the limit or the clip.
std::optional<std::span<Byte>> sample_up_to(std::size_t count, std::size_t limit, BoxReader& in) {
    if (count > limit) return std::nullopt;
    const std::span<Byte> sample = in.peek(count, limit);
    if (sample.size() < count) return std::nullopt;
    return sample;
}

}  // namespace

std::optional<std::span<const Byte>> insert_nal_tags(std::uint32_t size, std::uint32_t largest_sample_size,
                                                     std::size_t limit, BoxReader& in) {
    // Peeking at the whole sample loads it at once. Units that exceed the sample load more below.
    auto sample = sample_up_to(size, limit, in);
    std::size_t converted = 0;
    while (sample && converted < size) {
        sample = sample_up_to(converted + kTagSize, limit, in);
        if (!sample) break;
        const auto prefix = sample->subspan(converted).first<kTagSize>();
        const auto length = platform::load<std::endian::big, std::uint32_t>(prefix);
        if (length > largest_sample_size) return std::nullopt;
        std::ranges::copy(h264::kStartCode, prefix.begin());
        converted += kTagSize + std::size_t{length};
        sample = sample_up_to(converted, limit, in);
    }
    if (!sample) return std::nullopt;
    in.consume(converted);
    return sample->first(converted);
}

std::optional<std::span<const Byte>> with_start_codes(std::uint32_t size, std::uint8_t length_size,
                                                      BoxReader& in, std::vector<Byte>& buffer) {
    if (length_size == kTagSize) return insert_nal_tags(size, size, size, in);
    std::span<const Byte> left = in.peek(size);
    if (left.size() < size) return std::nullopt;
    buffer.clear();
    while (!left.empty()) {
        if (left.size() < length_size) return std::nullopt;
        std::size_t length = 0;
        for (const Byte byte : left.first(length_size)) length = length << 8 | byte;
        left = left.subspan(length_size);
        if (left.size() < length) return std::nullopt;
        buffer.insert(buffer.end(), h264::kStartCode.begin(), h264::kStartCode.end());
        buffer.insert(buffer.end(), left.begin(), left.begin() + static_cast<std::ptrdiff_t>(length));
        left = left.subspan(length);
    }
    return buffer;
}
