#include "tests/ps/ps_test.h"

TEST_F(PsWriterTest, PacketsArePaddedAndHaveTheSizeOfThePreviousPacketOfAnySlot) {
    const std::size_t lengths[] = {0, 1, 31, 32, 33};
    const char* headers[] = {"FF FF FF C0", "80 08 20 DF", "80 08 40 C1", "80 08 40 C0", "80 08 40 DF"};
    std::vector<FrameSpec> frames;
    for (std::uint16_t i = 0; i < 5; ++i)
        frames.push_back({.slot = i, .payload = std::string(lengths[i], 'x')});
    const ParsedRecording view = recorded(frames);
    for (std::size_t i = 0; i < 5; ++i) {
        const std::string packet = view.packet(i);
        EXPECT_EQ(to_hex(packet.substr(21, 3) + packet[29]), headers[i]) << i;
        EXPECT_EQ(packet.substr(32), frames[i].payload + zeros((32 - lengths[i] % 32) % 32)) << i;
    }
}

TEST_F(PsWriterTest, LengthFieldWrapsButTheOtherSizesAreComplete) {
    const ParsedRecording view = recorded({{.payload = std::string(65'504, 'a')},
                                           {.payload = std::string(65'505, 'b')},
                                           {.payload = std::string(2'097'120, 'c')}});
    EXPECT_EQ(to_hex(view.packet(0).substr(4, 2)), "FF FA");
    EXPECT_EQ(view.entries[0].size, 65'536U);
    EXPECT_EQ(to_hex(view.packet(1).substr(4, 2)), "00 1A");
    EXPECT_EQ(to_hex(view.packet(1).substr(24, 3)), "82 08 20");
    EXPECT_EQ(view.entries[1].size, 65'568U);
    EXPECT_EQ(index_hex(1088 + 64 + 4, 2), "00 00");  // 65,536 units need 17 bits
    EXPECT_EQ(index_hex(1088 + 64 + 26, 1), "01");
}

TEST_F(PsWriterTest, PositionsMayExceed32Bits) {
    ASSERT_EQ(open(), kPsOk);
    writer.data_end += 3LL << 35;
    ASSERT_EQ(write({}), kPsOk);
    EXPECT_EQ(index_hex(1088 + 12, 4), "00 00 00 C0");  // in units of 32 bytes
}

TEST_F(PsWriterTest, LargestPacketIsJustBelow4MiBAndARefusedOneChangesNothing) {
    ASSERT_EQ(open(), kPsOk);
    const std::string before = index();
    EXPECT_GE(before.size(), PsiHeader::size);  // a reader finds the header from the beginning
    EXPECT_EQ(write({.picture = kOtherFrame, .payload = std::string(4'194'241, 'x')}), kPsRefused);
    EXPECT_EQ(data().size(), 1978U);
    EXPECT_EQ(index(), before);
    ASSERT_EQ(write({.picture = kOtherFrame, .payload = std::string(4'194'240, 'x')}), kPsOk);
    const ParsedRecording view = finished();
    EXPECT_EQ(view.entries.at(0).size, 4'194'272U);
    EXPECT_EQ(view.entries.at(0).key_distance, 1U);  // the refused packet is not counted
    EXPECT_EQ(to_hex(view.packet(0).substr(21, 6)), "FF FF FF FF FF E0");
}

TEST_F(PsWriterTest, SpansEndAtGapsNewKindsNewDatesAndBackwardTimes) {
    const struct {
        const char* what;
        FrameSpec second;
        std::size_t spans;
    } cases[] = {
        {"1000 ms", {.at = 6'000}, 1},
        {"1001 ms", {.at = 6'001}, 2},
        {"same time", {.at = 5'000}, 1},
        {"1 ms earlier", {.at = 4'999}, 2},
        {"another kind", {.at = 5'000, .kind = 0x40}, 2},
        {"bits other than the kind", {.at = 5'000, .kind = 0x9C}, 1},
        {"midnight", {.at = 0, .date = {2018, 6, 23}}, 2},
        {"same time a day later", {.at = 5'000, .date = {2018, 6, 23}}, 2},
        {"another slot", {.slot = 1, .at = 5'000}, 2},
    };
    for (const auto& row : cases) {
        EXPECT_EQ(recorded({{.at = 5'000}, row.second}).spans.size(), row.spans) << row.what;
    }
}

TEST_F(PsWriterTest, SpansExtendFromFirstToLastPacketInTheOrderTheyClosed) {
    std::vector<FrameSpec> frames;
    for (std::uint32_t i = 0; i < 600; ++i) {  // two packets per span
        frames.push_back({.slot = std::uint16_t(i / 2 % 3), .at = i / 2 * 2'000 + i % 2 * 900});
    }
    const ParsedRecording view = recorded(frames);
    ASSERT_EQ(view.spans.size(), 300U);
    for (std::uint32_t i = 0; i < 300; ++i) {
        ASSERT_EQ(view.spans[i].slot, i % 3);
        ASSERT_EQ(view.spans[i].kind, 0x80U);
        ASSERT_EQ(view.spans[i].first_time, i * 2'000);
        ASSERT_EQ(view.spans[i].last_time, i * 2'000 + 900);
    }
}

TEST_F(PsWriterTest, KeyDistancesAreCountedPerSlot) {
    const std::uint16_t slots[] = {0, 0, 0, 1, 0, 0, 1, 0, 0};
    const std::uint8_t pictures[] = {2, 1, 2, 2, 2, 3, 2, 0, 2};
    const std::uint32_t distances[] = {1, 0, 1, 1, 2, 3, 2, 0, 1, 0};
    ASSERT_EQ(open(), kPsOk);
    for (std::size_t i = 0; i < 9; ++i) ASSERT_EQ(write({.slot = slots[i], .picture = pictures[i]}), kPsOk);
    writer.key_distance[0] = 65'535;
    ASSERT_EQ(write({.picture = kOtherFrame}), kPsOk);
    const ParsedRecording view = finished();
    for (std::size_t i = 0; i < 10; ++i) EXPECT_EQ(view.entries[i].key_distance, distances[i]) << i;
}

TEST_F(PsWriterTest, ClosedWriterRefusesFramesAndCanBeReopened) {
    ps_close(writer);
    EXPECT_EQ(write({}), kPsRefused);
    EXPECT_EQ(ps_write_index_header(writer), kPsRefused);
    writer.index = files.create_index("a.psi");  // as if the data file could not be opened
    ps_close(writer);
    EXPECT_EQ(index(), "");
    ASSERT_EQ(open(), kPsOk);
    EXPECT_EQ(write({.slot = 32}), kPsRefused);
    (void)finished();

    const std::vector<FrameSpec> frames = {
        {.picture = 2}, {.slot = 31, .kind = 0x40}, {.at = 1, .picture = 2}};
    (void)recorded(frames);
    const std::string first_data = data();
    const std::string first_index = index();
    (void)recorded(frames);
    ps_close(writer);
    ps_writer_destroy(writer);
    EXPECT_EQ(data(), first_data);
    EXPECT_EQ(index(), first_index);
}
