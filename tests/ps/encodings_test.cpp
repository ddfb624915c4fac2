#include "ps/encodings.h"

#include <gtest/gtest.h>

#include "ps/stream_layout.h"
#include "tests/support/byte_text.h"

namespace {

std::string time_stamp(std::uint8_t prefix, std::uint64_t ticks) {
    std::string bytes(5, '\xAA');
    const auto span = platform::bytes_of(bytes).first<5>();
    put_time_stamp(span, prefix, ticks);
    EXPECT_EQ(get_time_stamp(span), ticks);
    return to_hex(bytes);
}

std::string size22(std::uint32_t size) {
    std::string bytes(3, '\xAA');
    const auto span = platform::bytes_of(bytes).first<3>();
    put_size22(span, size);
    EXPECT_EQ(get_size22(span), size & 0x3FFFFF);
    return to_hex(bytes);
}

}  // namespace

TEST(EncodingsTest, TimeStampsHavePrefixAndMarkerBits) {
    EXPECT_EQ(time_stamp(3, 0), "31 00 01 00 01");
    EXPECT_EQ(time_stamp(1, 0x1FFFFFFFF), "1F FF FF FF FF");
    EXPECT_EQ(time_stamp(3, 7'775'999'910), "3F 3D F1 AF 4D");  // the last millisecond of a day
    EXPECT_EQ(time_stamp(1, 5'211'810'000), "19 DA 97 D1 A1");
    for (int bit = 0; bit < 33; ++bit) (void)time_stamp(3, 1ULL << bit);
}

TEST(EncodingsTest, DatesRepeatAfter128Years) {
    EXPECT_EQ(date16(2018, 6, 22), 0x24D6);
    EXPECT_EQ(date16(2127, 12, 31), 0xFF9F);
    EXPECT_EQ(date16(2128, 1, 1), 0x0021);
    EXPECT_EQ(date16(1999, 12, 31), 0xFF9F);
}

TEST(EncodingsTest, SizesSurviveARoundTripThroughThreeBytes) {
    EXPECT_EQ(size22(1056), "80 0C 20");
    EXPECT_EQ(size22(4'194'272), "FF FF E0");
    EXPECT_EQ(size22(0x2AAAA0), "D5 5A A0");
    EXPECT_EQ(size22(kNoSize), "FF FF FF");
    for (std::uint32_t size = 0; size < 1U << 22; size += 1'237) (void)size22(size);
}

TEST(EncodingsTest, StreamIdsMapToSlots) {
    const std::pair<std::uint8_t, std::uint8_t> ids[] = {{0xD0, 0}, {0xEF, 15}, {0xC0, 16}, {0xCF, 31}};
    for (const auto& [id, slot] : ids) EXPECT_EQ(slot_of_stream_id(id), slot);
}
