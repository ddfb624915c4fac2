#include "mp4/boxes.h"

#include <gtest/gtest.h>

#include "tests/support/byte_text.h"
#include "tests/support/memory_files.h"

namespace {

/// Reads a box whose payload starts at offset 6 and is `claimed` bytes long, by default all given bytes.
template <typename Reader>
auto table_of(const std::string& bytes, std::optional<std::uint64_t> claimed = {},
              std::uint64_t* consumed = nullptr) {
    const std::string before = "before";
    MemoryInput file(before + bytes);
    BoxReader in(&file);
    in.seek(before.size());
    Reader reader;
    const std::uint64_t count = reader.parse(in, claimed.value_or(bytes.size()));
    EXPECT_EQ(before.size() + count, in.position());
    if (consumed != nullptr) *consumed = count;
    return reader.table;
}

using Numbers = std::vector<std::uint32_t>;

const std::string kVisualEntry = from_hex(
    "00000078 61766331"                     // size, "avc1"
    "000000000000 0001 0000 0000"           // reserved, data reference index, pre-defined, reserved
    "00000000 00000000 00000000 0780 0438"  // pre-defined, 1920 x 1080
    "00480000 00490000 00000000 0001"       // resolutions, reserved, frame count
    "0A68656C6C6F2063 616D2E0000000000 0000000000000000 0000000000000000"
    "0018 FFFF");  // depth, pre-defined
const std::string kConfiguration = from_hex(
    "00000022 61766343 01 64 11 28"  // "avcC", version, profile, compatibility, level
    "FE E1 0003 AAAAAA"              // length size 3 bytes, one sequence parameter set
    "01 0002 BBBB");                 // one picture parameter set
const std::string kShortAudio = from_hex("00000024 6D703461") + zeros(28);  // "mp4a", 36 bytes
const std::string kOneEntry = from_hex("00000000 00000001");
const std::string kTwoEntries = from_hex("00000000 00000002");

}  // namespace

TEST(BoxesTest, MovieHeaderIsReadInTwoLayouts) {
    const std::pair<const char*, std::vector<std::uint64_t>> headers[] = {
        {"00 000000 00000001 00000002 000003E8 0000EA60 00010000", {1, 2, 1000, 60'000, 20}},
        {"02 000000 00000001 00000002 000003E8 0000EA60 00010000", {1, 2, 1000, 60'000, 20}},
        {"01 000000 0000000100000002 0000000300000004 00015F90 0000000500000006 0001",
         {0x1'0000'0002, 0x3'0000'0004, 90'000, 0x5'0000'0006, 32}},
    };
    for (const auto& [bytes, expected] : headers) {
        std::uint64_t consumed = 0;
        const auto table = table_of<MvhdBox>(from_hex(bytes), {}, &consumed);
        ASSERT_EQ(table.size(), 1U);
        EXPECT_EQ(table[0].creation_time, expected[0]);
        EXPECT_EQ(table[0].modification_time, expected[1]);
        EXPECT_EQ(table[0].timescale, expected[2]);
        EXPECT_EQ(table[0].duration, expected[3]);
        EXPECT_EQ(consumed, expected[4]);  // the rest is not read
    }
}

TEST(BoxesTest, TablesHaveTheOrderAndTheFieldsOfTheFile) {
    const auto times = table_of<SttsBox>(from_hex("00000000 00000002  00000005 00000028  00000003 00000029"));
    ASSERT_EQ(times.size(), 2U);
    EXPECT_EQ(times[0].sample_count, 5U);
    EXPECT_EQ(times[0].sample_delta, 40U);
    EXPECT_EQ(times[1].sample_count, 3U);
    const auto chunks = table_of<StscBox>(from_hex("00000000 00000001  00000001 00000008 00000002"));
    ASSERT_EQ(chunks.size(), 1U);
    EXPECT_EQ(chunks[0].first_chunk, 1U);
    EXPECT_EQ(chunks[0].samples_per_chunk, 8U);
    EXPECT_EQ(chunks[0].sample_description_index, 2U);
    EXPECT_EQ(table_of<StcoBox>(from_hex("00000000 00000002 FFFFFFFF 00000010")), (Numbers{0xFFFFFFFF, 16}));
    EXPECT_EQ(table_of<StssBox>(from_hex("00000000 00000000")), Numbers{});
}

TEST(BoxesTest, SizesAreATableOrOneSizeForAllSamples) {
    const SampleSizes table =
        table_of<StszBox>(from_hex("00000000 00000000 00000003  00000064 00000000 00000007"));
    EXPECT_EQ(table.size(), 3U);
    EXPECT_EQ(table.at(2), 7U);
    EXPECT_EQ(table.largest(), 100U);
    const SampleSizes uniform = table_of<StszBox>(from_hex("00000000 00000200 FFFFFFFF 00000001"));
    EXPECT_EQ(uniform.size(), 0xFFFFFFFFU);
    EXPECT_EQ(uniform.at(4'000'000'000), 512U);
    EXPECT_EQ(uniform.largest(), 512U);
    EXPECT_TRUE(table_of<StszBox>(from_hex("00000000 00000200 00000000")).empty());
}

TEST(BoxesTest, CompactSizesHave4Or8Or16Bits) {
    const std::pair<const char*, Numbers> tables[] = {
        {"00000000 000000 04 00000003 12 F0", {1, 2, 15}},
        {"00000000 FFFFFF 08 00000002 FF 03", {255, 3}},
        {"00000000 000000 10 00000002 FF00 0102", {0xFF00, 0x0102}},
        {"00000000 000000 10 00000002 0102 03", {0x0102}},     // one byte of the second size
        {"00000000 000000 04 FFFFFFFF 12 F0", {1, 2, 15, 0}},  // the count exceeds the box
        {"00000000 000000 04 00000000", {}},
        {"00000000 000000 00 00000001 01", {}},
        {"00000000 000000 20 00000001 00000001", {}},
    };
    for (const auto& [bytes, expected] : tables) {
        SCOPED_TRACE(bytes);
        const SampleSizes table = table_of<Stz2Box>(from_hex(bytes));
        ASSERT_EQ(table.size(), expected.size());
        for (std::size_t i = 0; i < expected.size(); ++i) EXPECT_EQ(table.at(i), expected[i]) << i;
    }
}

TEST(BoxesTest, CountsAreLimitedToCompleteEntriesInsideBoxAndFile) {
    const std::string numbers = from_hex("00000000 FFFFFFFF  00000001 00000002 00000003 00");
    EXPECT_EQ(table_of<StssBox>(numbers).size(), 3U);             // one byte of a fourth
    EXPECT_EQ(table_of<StssBox>(numbers, kNever).size(), 3U);     // the box extends past the file
    EXPECT_EQ(table_of<StssBox>(numbers, 8 + 4 + 3).size(), 1U);  // the file extends past the box
    EXPECT_EQ(table_of<SttsBox>(numbers).size(), 1U);
    EXPECT_EQ(table_of<StscBox>(numbers).size(), 1U);
    EXPECT_EQ(table_of<StszBox>(from_hex("00000000 00000000 7FFFFFFF 00000001 0000"), kNever).size(), 1U);
    EXPECT_EQ(table_of<Stz2Box>(from_hex("00000000 00000008 FFFFFFFF 0102"), kNever).size(), 2U);

    MemoryInput shrunken(numbers);
    shrunken.ends_at = 8 + 4 + 2;
    BoxReader in(&shrunken);
    StcoBox reader;
    (void)reader.parse(in, numbers.size());
    EXPECT_EQ(reader.table, Numbers{1});
}

TEST(BoxesTest, EmptyPayloadIsNotRead) {
    const std::string ones(200, '\1');
    EXPECT_TRUE(table_of<MvhdBox>(ones, 0).empty() && table_of<SttsBox>(ones, 0).empty());
    EXPECT_TRUE(table_of<StszBox>(ones, 0).empty() && table_of<Stz2Box>(ones, 0).empty() &&
                table_of<StsdBox>(ones, 0).empty());
}

TEST(BoxesTest, AvcEntryHasPictureSizeAndConfiguration) {
    const auto table = table_of<StsdBox>(kOneEntry + kVisualEntry + kConfiguration);
    ASSERT_EQ(table.size(), 1U);
    const StsdEntry& entry = table[0];
    EXPECT_EQ(entry.format, box_type("avc1"));
    EXPECT_EQ(entry.data_reference_index, 1);
    EXPECT_EQ(entry.width, 1920);
    EXPECT_EQ(entry.height, 1080);
    EXPECT_EQ(entry.vertical_resolution, 0x00490000U);
    EXPECT_EQ(entry.frame_count, 1);
    EXPECT_EQ(entry.compressor_name_head[1], 'h');
    EXPECT_EQ(entry.configuration_type, box_type("avcC"));
    EXPECT_EQ(entry.profile_indication, 0x64);
    EXPECT_EQ(entry.level_indication, 0x28);
    EXPECT_EQ(entry.nal_length_size_minus_one, 2);
    EXPECT_EQ(entry.sequence_parameter_sets, 1);
    EXPECT_EQ(entry.sequence_parameter_set_length, 3);
    EXPECT_EQ(entry.picture_parameter_sets, 1);
    EXPECT_EQ(entry.picture_parameter_set_length, 2);
}

TEST(BoxesTest, FirstEntryMayExtendPastBoxAndFileButOthersMustBeginInside) {
    const auto past_file = table_of<StsdBox>(kOneEntry + kShortAudio);
    ASSERT_EQ(past_file.size(), 1U);
    EXPECT_EQ(past_file[0].format, box_type("mp4a"));
    std::uint64_t consumed = 0;
    const std::string padded = kTwoEntries + kShortAudio + std::string(200, 'x');
    EXPECT_EQ(table_of<StsdBox>(padded, 8 + 36, &consumed).size(), 1U);
    EXPECT_EQ(consumed, 8U + 86);  // the size of a visual entry, past the end of the box
    EXPECT_EQ(table_of<StsdBox>(padded, 8 + 86 + 1).size(), 2U);

    std::string second = kVisualEntry;
    second.replace(4, 4, "avc3").replace(32, 2, be16(352));
    std::string other = kConfiguration;  // any type, and one parameter set of each kind whatever the counts
    other.replace(4, 4, "type").replace(13, 1, "\xE3").replace(19, 1, "\x07");
    // The count limits the table even if more entries follow.
    const auto two = table_of<StsdBox>(kTwoEntries + kVisualEntry + other + second + second);
    ASSERT_EQ(two.size(), 2U);
    EXPECT_EQ(two[0].picture_parameter_set_length, 2);
    EXPECT_EQ(two[1].width, 352);
    EXPECT_EQ(two[1].configuration_size, 0U);  // only "avc1" has one
    EXPECT_EQ(table_of<StsdBox>(kTwoEntries + kVisualEntry + kConfiguration + second.substr(0, 40)).size(),
              1U);
    EXPECT_TRUE(table_of<StsdBox>(zeros(8) + kVisualEntry).empty());
}
