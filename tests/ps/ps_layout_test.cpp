// Complete files as bytes, one field per line.

#include "tests/ps/ps_test.h"

namespace {

const std::string kPackHeaderBytes = from_hex(
    "00 00 01 BA"        // pack start code
    "44 00 04 00 04 01"  // clock reference 0
    "00 00 03"           // mux rate 0
    "FA FF FF");         // two stuffing bytes

/// A name in its field of 32 bytes.
std::string name_field(const std::string& name) {
    return name + zeros(32 - name.size());
}

std::string map_entry(const std::string& head, const std::string& name = "") {
    return from_hex(head) + zeros(18) + name_field(name);
}

/// Video in slot 2 across midnight, with one audio frame in between.
class TwoSlots : public PsWriterTest {
  protected:
    TwoSlots() {
        PsStreamDescs streams = usual_streams();
        streams[2].id = 0xE2;
        streams[2].first_index_byte = 0x11;
        streams[2].second_index_byte = 0x22;
        EXPECT_EQ(open(streams, {.code = {7}, .name = ""}), kPsOk);
        const FrameSpec key{
            .slot = 2, .at = 86'399'500, .kind = 0x40, .date = {2021, 12, 31}, .payload = "a key frame"};
        const FrameSpec sound{
            .slot = 17, .at = 86'399'750, .kind = 0x20, .picture = 2, .date = {2021, 12, 31}, .payload = ""};
        FrameSpec midnight{.slot = 2, .at = 0, .kind = 0x83, .picture = 6, .date = {2022, 1, 1}};
        midnight.payload = std::string(33, 'x');
        for (const FrameSpec& frame : {key, sound, midnight}) EXPECT_EQ(write(frame), kPsOk);
        ps_close(writer);
    }
};

}  // namespace

TEST_F(PsWriterTest, RecordingWithoutPacketsHasPackHeaderMapAndAnEmptyIndex) {
    EXPECT_TRUE(recorded({}).entries.empty());
    EXPECT_EQ(data().size(), 1978U);
    EXPECT_EQ(data().substr(0, 16), kPackHeaderBytes);
    // Version, record sizes and counts; the rest is zero except for the span size.
    EXPECT_EQ(index_hex(0, 20), "01 00 00 00 40 00 00 00 20 00 00 00 20 00 00 00 20 00 00 00");
    EXPECT_EQ(index().substr(20), zeros(16) + from_hex("10 00 00 00") + zeros(24 + 1024));
}

TEST_F(PsWriterTest, MapDescribesProgramAndAllSlots) {
    PsProgramInfo program{.code = {0x07, 0x01, 0x02, 0x03}, .extra = {}, .name = "program"};
    for (std::uint8_t i = 0; i < 16; ++i) program.extra[i] = static_cast<std::uint8_t>(0x10 + i);
    PsStreamDescs streams = usual_streams();
    streams[2] = {
        .type = 0x86, .id = 0xE2, .width = 0x78, .height = 0x43, .name = "exactly thirty-two characters---"};
    streams[2].value_a = 0x1111;  // ignored for video
    streams[15].name = "a name that is longer than its field allows";
    streams[17] = {.type = 0x91, .id = 0xC1, .name = "audio", .value_a = 0x1234, .value_b = 0x5678};
    streams[17].width = 0x33;  // ignored for audio
    ASSERT_EQ(open(streams, program), kPsOk);

    std::string expected = from_hex(
        "00 00 01 BC 07 A4"  // start code, 1956 bytes follow
        "E2 FF 00 5E"        // version, marker, 94 bytes of program info
        "FF FF FF FF FF FF FF FF"
        "07 01 02 03"
        "10 11 12 13 14 15 16 17 18 19 1A 1B 1C 1D 1E 1F");
    expected += name_field("program") + from_hex("02") + zeros(33) + from_hex("07 40");
    for (std::size_t slot = 0; slot < 32; ++slot) {
        const std::string digit(1, "0123456789ABCDEF"[slot % 16]);
        if (slot == 2) {
            expected += map_entry("86 E2 00 36 78 43 FF FF", "exactly thirty-two characters---");
        } else if (slot == 17) {
            expected += map_entry("91 C1 00 36 12 34 56 78", "audio");
        } else {
            expected += map_entry(
                slot < 16 ? "85 D" + digit + " 00 36 00 00 FF FF" : "90 C" + digit + " 00 36 00 00 00 00",
                slot == 15 ? "a name that is longer than its f" : "");
        }
    }
    EXPECT_EQ(to_hex(data().substr(16)), to_hex(expected));
}

TEST_F(PsWriterTest, FirstPacketAndItsEntryHaveTimeSizesAndDate) {
    (void)recorded({{.at = 57'909'000, .payload = std::string(1000, '\x5A')}});  // 16:05:09.000
    EXPECT_EQ(data_hex(1978, 32),
              "00 00 01 D0 04 1A 80 C1 17 "  // stream id, 1050 bytes follow, stamps and extension, 23 bytes
              "39 DA 97 D1 A1 19 DA 97 D1 A1 "  // both stamps 5,211,810,000
              "0F 8B FF FF FF 80 0C 20 "        // extension, no previous packet, 1056 bytes
              "9D C0 D8 D6 24");                // flags, program code 0, 24 padding bytes, date
    EXPECT_EQ(data().substr(1978 + 32), std::string(1000, '\x5A') + zeros(24));
    EXPECT_EQ(
        index_hex(1088, 32),
        "00 00 9D C0 21 00 D6 24 08 9F 73 03 00 00 00 00 FF FF FF FF FF FF FF FF 00 00 00 00 00 00 00 00");
}

TEST_F(PsWriterTest, HeaderHasTheTimesOfTheFirstAndTheLastPacket) {
    (void)recorded({{.at = 57'909'000, .payload = "first"}, {.at = 57'909'040, .payload = "last"}});
    EXPECT_EQ(index_hex(24, 12), "D6 24 D6 24 08 9F 73 03 30 9F 73 03");
}

TEST_F(TwoSlots, PacketsHaveTheirStreamIdAndTheSizesOfThePreviousAndOwnPacket) {
    EXPECT_EQ(
        data_hex(1978, 64),
        "00 00 01 E2 00 3A 80 C1 17 3F 3D EF 50 71 1F 3D EF 50 71 0F 8B FF FF FF 80 08 40 5D F0 D5 9F 2B "
        "61 20 6B 65 79 20 66 72 61 6D 65 "                                 // the payload
        "00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00");  // 21 bytes of padding
    EXPECT_EQ(
        data_hex(1978 + 64, 32),
        "00 00 01 C1 00 1A 80 C1 17 3F 3D F1 00 39 1F 3D F1 00 39 0F 8B 80 08 40 80 08 20 3E F0 C0 9F 2B");
    EXPECT_EQ(
        data_hex(1978 + 96, 32),
        "00 00 01 E2 00 5A 80 C1 17 31 00 01 00 01 11 00 01 00 01 0F 8B 80 08 20 80 08 60 9E F0 DF 21 2C");
    EXPECT_EQ(data().substr(1978 + 128), std::string(33, 'x') + zeros(31));
}

TEST_F(TwoSlots, IndexHasStreamRecordsEntriesAndSpans) {
    EXPECT_EQ(index_hex(0, 64),
              "01 00 00 00 40 00 00 00 20 00 00 00 20 00 00 00 20 00 00 00 "
              "03 00 00 00 "                          // entries
              "9F 2B 21 2C 0C 5A 26 05 00 00 00 00 "  // first and last date, first and last time
              "10 00 00 00 03 00 00 00 "              // spans
              "00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00");
    const std::string slot2 = from_hex(
        "02 00 00 00 00 00 00 00 02 00 00 00"  // packets, first and last entry
        "9F 2B 21 2C 0C 5A 26 05 00 00 00 00"  // dates, times
        "11 C0 22 00 00 00 00 00");            // first index byte, kinds, second index byte
    const std::string slot17 = from_hex(
        "01 00 00 00 01 00 00 00 01 00 00 00"
        "9F 2B 9F 2B 06 5B 26 05 06 5B 26 05"
        "00 20 00 00 00 00 00 00");
    EXPECT_EQ(to_hex(index().substr(64, 1024)),
              to_hex(zeros(64) + slot2 + zeros(14 * 32) + slot17 + zeros(14 * 32)));
    EXPECT_EQ(
        index_hex(1088, 96),
        "02 00 5D F0 02 00 9F 2B 0C 5A 26 05 00 00 00 00 FF FF FF FF 02 00 00 00 00 00 00 00 00 00 00 00 "
        "11 00 3E F0 01 00 9F 2B 06 5B 26 05 02 00 00 00 FF FF FF FF FF FF FF FF 01 00 00 00 00 00 00 00 "
        "02 00 9E F0 03 00 21 2C 00 00 00 00 03 00 00 00 00 00 00 00 FF FF FF FF 01 00 00 00 00 00 00 00");
    EXPECT_EQ(index_hex(1088 + 96, 1000),
              "02 40 00 00 9F 2B 9F 2B 0C 5A 26 05 0C 5A 26 05 "  // closed by the next packet
              "02 80 00 00 21 2C 21 2C 00 00 00 00 00 00 00 00 "  // closed by ps_close, in slot order
              "11 20 00 00 9F 2B 9F 2B 06 5B 26 05 06 5B 26 05");
}
