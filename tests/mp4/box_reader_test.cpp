#include "mp4/box_reader.h"
#include "mp4/load_samples.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <utility>

#include "tests/support/byte_text.h"
#include "tests/support/memory_files.h"

namespace {

/// Longer than the largest window. Not periodic, so that a wrong offset gives a different byte.
std::string long_content() {
    std::string bytes(900'001, '\0');
    std::uint32_t state = 1;
    for (char& byte : bytes) byte = static_cast<char>((state = state * 1664525 + 1013904223) >> 24);
    return bytes;
}
const std::string kContent = long_content();

std::string take(BoxReader& in, std::size_t count) {
    std::string bytes(count, 'x');
    in.read(platform::bytes_of(bytes));
    return bytes;
}

}  // namespace

TEST(BoxReaderTest, ReadSeekAndSkipReachTheRightByte) {
    MemoryInput file(kContent);
    BoxReader in(&file);
    std::uint64_t state = 7;
    std::size_t at = 0;
    for (std::size_t i = 0; i < 3'000; ++i) {
        state = state * 6364136223846793005ULL + 1442695040888963407ULL;
        if (i % 2 == 0) in.seek(at = (state >> 33) % 800'000);
        in.skip(i % 3 * 100);
        at += i % 3 * 100;
        const std::size_t length = 1 + i * i % 40'009;
        ASSERT_EQ(take(in, length), kContent.substr(at, length)) << "at " << at;
        at += length;
    }
    in.seek(100);
    EXPECT_EQ(take(in, 700'000), kContent.substr(100, 700'000));
    EXPECT_TRUE(in.ok());
}

TEST(BoxReaderTest, BytesLeftInTheWindowAreKept) {
    for (std::size_t at = 1; at < 5'000; ++at) {  // the first window ends in between
        MemoryInput file(kContent);
        BoxReader in(&file);
        (void)in.u8();
        in.seek(at);
        const auto bytes = in.peek(6'000, 6'000);
        ASSERT_EQ(std::string(bytes.begin(), bytes.end()), kContent.substr(at, 6'000)) << at;
    }
}

TEST(BoxReaderTest, OnlySamplesWithinTheLimitAreLoaded) {
    struct Cursor {
        [[nodiscard]] static std::uint64_t run_length(std::uint64_t /*limit*/) { return 850'000; }
    };
    for (const auto& [size, loaded] : {std::pair(800'000U, false), {80'000U, true}}) {
        MemoryInput file(kContent);
        BoxReader in(&file);
        load_samples(Cursor{}, size, 100'000, in);
        EXPECT_EQ(in.in_window() >= size, loaded) << size;
    }
}

TEST(BoxReaderTest, ValuesPastTheEndAreZeroAndTheFailurePersists) {
    MemoryInput file(from_hex("AA BB CC DD EE"));
    BoxReader in(&file);
    in.skip(3);
    EXPECT_EQ(in.u32(), 0xDDEE0000U);  // two bytes of the file, two zeros
    EXPECT_FALSE(in.ok());
    in.seek(0);
    in.skip(1);
    EXPECT_EQ(in.position(), 5U);
    EXPECT_EQ(take(in, 2), zeros(2));
    in.clear();
    in.seek(1);
    EXPECT_EQ(in.u16(), 0xBBCC);
    EXPECT_TRUE(in.ok());

    BoxReader no_file(nullptr);
    EXPECT_EQ(no_file.u64(), 0U);
    EXPECT_FALSE(no_file.ok());
}

TEST(BoxReaderTest, SkipStopsAtTheEndButSeekMayPassIt) {
    MemoryInput file("abc");
    BoxReader in(&file);
    in.skip(kNever);
    EXPECT_EQ(in.position(), 3U);
    in.seek(kNever);
    in.skip(5);
    EXPECT_EQ(in.position(), kNever);
    EXPECT_TRUE(in.ok());
    EXPECT_EQ(in.u8(), 0);
    EXPECT_FALSE(in.ok());
}

TEST(BoxReaderTest, ReadingFailsWhereAShrunkenFileEnds) {
    for (const std::size_t end : {10UL, 4'096UL, 300'000UL}) {
        MemoryInput file(kContent);
        file.ends_at = end;
        BoxReader in(&file);
        in.skip(end - 3);
        EXPECT_EQ(take(in, 3), kContent.substr(end - 3, 3));
        EXPECT_TRUE(in.ok());
        EXPECT_EQ(in.u16(), 0);
        EXPECT_FALSE(in.ok());
        in.clear();
        in.seek(0);
        EXPECT_TRUE(take(in, kContent.size()) == kContent.substr(0, end) + zeros(kContent.size() - end))
            << end;
        EXPECT_FALSE(in.ok());
    }
}

TEST(BoxReaderTest, ConsumedBytesMayBeOverwrittenAndAreReadAgainAfterASeek) {
    MemoryInput file(kContent);
    BoxReader in(&file);
    const auto content = platform::bytes_of(std::string_view(kContent));
    std::size_t at = 0;
    for (std::size_t length = 1; at + length <= kContent.size(); length = length * 7 % 300'007) {
        const std::span<platform::Byte> bytes = in.peek(length);
        ASSERT_TRUE(std::ranges::equal(bytes, content.subspan(at, length))) << "at " << at;
        const std::size_t consumed = (length + 1) / 2;
        std::ranges::fill(bytes.first(consumed), platform::Byte{0});
        in.consume(consumed);
        at += consumed;
        in.seek(at - 1);
        ASSERT_EQ(take(in, 1), kContent.substr(at - 1, 1)) << "at " << at;
    }
    in.seek(kContent.size() - 2);
    EXPECT_EQ(in.peek(3).size(), 2U);
    EXPECT_FALSE(in.ok());
}
