// Mutates clips. Half of the mutations change bytes. The other half change boxes and correct sizes and chunk
// offsets, so that the parser still reaches the boxes inside.

#include <algorithm>
#include <array>
#include <random>
#include <span>
#include <string>
#include <vector>

#include "mp4/box_types.h"
#include "platform/bytes.h"

extern "C" std::size_t LLVMFuzzerMutate(std::uint8_t* data, std::size_t size, std::size_t max_size);

namespace {

/// A box of the mutated clip (ISO/IEC 14496-12, 4.2).
struct Box {
    std::size_t at = 0;
    std::size_t header = 8;
    std::size_t size = 0;  // header included
    BoxType type = 0;
    int parent = -1;

    [[nodiscard]] std::size_t payload_at() const { return at + header; }
    [[nodiscard]] std::size_t payload() const { return size - header; }
};

class BoxedClip {
  public:
    BoxedClip(std::string clip, std::uint32_t seed) : clip_(std::move(clip)), random_(seed) {
        collect(0, clip_.size(), -1);
    }

    /// Applies one change, which inserts at most `room` bytes.
    void mutate(std::size_t room) {
        if (boxes_.empty()) return;
        const Box box = boxes_.at(below(boxes_.size()));
        const Box other = boxes_.at(below(boxes_.size()));
        const std::string copy = clip_.substr(other.at, other.size);
        const std::size_t what = below(6);
        if (what == 0) return replace(box.parent, box.at, box.size, "");
        if (what == 3) return put_word(box);
        if (what > 3) return mutate_payload(box, room);
        if (copy.size() <= room) replace(box.parent, box.at, what == 1 ? 0 : box.size, copy);
    }

    [[nodiscard]] const std::string& bytes() const { return clip_; }

  private:
    [[nodiscard]] std::size_t below(std::size_t limit) { return limit == 0 ? 0 : random_() % limit; }

    template <typename T>
    [[nodiscard]] T get(std::size_t at) const {
        return platform::load<std::endian::big, T>(platform::bytes_of(clip_).subspan(at).first<sizeof(T)>());
    }
    template <typename T>
    void put(std::size_t at, T value) {
        platform::store<std::endian::big, T>(platform::bytes_of(clip_).subspan(at).first<sizeof(T)>(), value);
    }

    void collect(std::size_t begin, std::size_t end, int parent) {
        while (end - begin >= 8) {
            Box box{.at = begin, .size = get<std::uint32_t>(begin), .parent = parent};
            box.type = get<std::uint32_t>(begin + 4);
            if (box.size == 1 && end - begin >= 16) {
                box.header = 16;
                box.size = get<std::uint64_t>(begin + 8);
            }
            if (box.size < box.header || box.size > end - begin) return;
            boxes_.push_back(box);
            if (is_container_box(box.type))
                collect(box.payload_at(), begin + box.size, static_cast<int>(boxes_.size()) - 1);
            begin += box.size;
        }
    }

    /// Replaces bytes of the box with index `inside` (negative: outside all boxes); corrects sizes and
    /// offsets.
    void replace(int inside, std::size_t at, std::size_t length, const std::string& bytes) {
        const std::size_t delta = bytes.size() - length;  // wraps if the clip becomes shorter
        for (const Box& box : boxes_) {
            if (box.type == kStco) move_offsets(box, at, static_cast<std::uint32_t>(delta));
        }
        for (int i = inside; i >= 0; i = boxes_[static_cast<std::size_t>(i)].parent) {
            const Box& box = boxes_[static_cast<std::size_t>(i)];
            if (box.header == 16) put<std::uint64_t>(box.at + 8, box.size + delta);
            if (box.header == 8) put<std::uint32_t>(box.at, static_cast<std::uint32_t>(box.size + delta));
        }
        clip_.replace(at, length, bytes);
    }

    void move_offsets(const Box& box, std::size_t from, std::uint32_t delta) {
        for (std::size_t at = box.payload_at() + 8; at + 4 <= box.at + box.size; at += 4) {
            const auto offset = get<std::uint32_t>(at);
            if (offset >= from && offset < clip_.size()) put(at, offset + delta);
        }
    }

    /// Stores a number that is likely to expose mistakes with counts and lengths.
    void put_word(const Box& box) {
        const std::size_t words = box.payload() / 4;
        if (words == 0) return;
        const std::size_t values[] = {0,          1,         2, 3, words, words - 1, box.size, clip_.size(),
                                      0x7FFFFFFF, 0xFFFFFFFC};
        put(box.payload_at() + 4 * below(words),
            static_cast<std::uint32_t>(values[below(std::size(values))]));
    }

    void mutate_payload(const Box& box, std::size_t room) {
        std::string payload = clip_.substr(box.payload_at(), box.payload());
        const std::size_t before = payload.size();
        payload.resize(before + room);
        const auto bytes = platform::bytes_of(payload);
        payload.resize(LLVMFuzzerMutate(bytes.data(), before, bytes.size()));
        const int self = static_cast<int>(std::ranges::find(boxes_, box.at, &Box::at) - boxes_.begin());
        replace(self, box.payload_at(), before, payload);
    }

    std::string clip_;
    std::minstd_rand random_;
    std::vector<Box> boxes_;
};

}  // namespace

extern "C" std::size_t LLVMFuzzerCustomMutator(std::uint8_t* data, std::size_t size, std::size_t max_size,
                                               unsigned seed) {
    if (seed % 2 == 0 || size >= max_size) return LLVMFuzzerMutate(data, size, max_size);
    BoxedClip clip({data, data + size}, seed);
    clip.mutate(max_size - size);
    const std::size_t length = std::min(clip.bytes().size(), max_size);
    std::copy_n(clip.bytes().begin(), length, data);
    return length;
}
