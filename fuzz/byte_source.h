#pragma once

#include <algorithm>
#include <array>
#include <cstdint>
#include <cstring>
#include <span>
#include <string>

/// Turns a fuzzer's bytes into values. After the last byte, values are 0 and chances are false.
class ByteSource {
  public:
    explicit ByteSource(std::span<const std::uint8_t> bytes) : bytes_(bytes) {}

    [[nodiscard]] bool empty() const { return bytes_.empty(); }

    std::uint8_t byte() {
        if (empty()) return 0;
        const std::uint8_t first = bytes_.front();
        bytes_ = bytes_.subspan(1);
        return first;
    }
    std::uint64_t number(std::size_t size) {
        std::uint64_t value = 0;
        for (; size > 0; --size) value = value << 8U | byte();
        return value;
    }
    [[nodiscard]] bool chance(unsigned of_256) { return !empty() && byte() < of_256; }
    [[nodiscard]] std::size_t below(std::size_t limit) { return byte() % limit; }

    template <typename T, std::size_t Count>
    [[nodiscard]] T pick(const T (&values)[Count]) {
        return values[below(Count)];
    }

    /// The bytes up to the next 0, which is skipped.
    std::string text() {
        const auto end = std::ranges::find(bytes_, 0);
        const std::string text(bytes_.begin(), end);
        bytes_ = bytes_.subspan(std::min(bytes_.size(), text.size() + 1));
        return text;
    }

  private:
    std::span<const std::uint8_t> bytes_;
};
