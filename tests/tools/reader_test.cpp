#include "tools/reader/verify.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <string>
#include <utility>
#include <vector>

#include "ps/ps_writer.h"
#include "tests/support/memory_files.h"

namespace {

using platform::Byte;

constexpr const char* kData = "r.ps";
constexpr const char* kIndex = "r.psi";

/// A recording of five packets in two slots and four spans:
///   packet  slot  at    size  picture  time         kind
///   0       0     1978  1056  key      16:05:09.000  80
///   1       0     3034    64  other    16:05:09.040  80
///   2       17    3098    64  other    16:05:09.050  80
///   3       0     3162    96  key      16:05:10.500  80   more than a second after packet 1
///   4       0     3258    64  other    16:05:10.540  40   another recording kind
class ReaderTest : public testing::Test {
  protected:
    ReaderTest() {
        PsStreamDescs streams;
        for (std::uint8_t slot = 0; slot < kSlots; ++slot) {
            streams.at(slot).type = 0x85;
            streams.at(slot).id = static_cast<std::uint8_t>(slot < 16 ? 0xD0 + slot : 0xB0 + slot);
        }
        PsWriter writer;
        ps_writer_init(writer);
        writer.data = files_.create_data(kData);
        writer.index = files_.create_index(kIndex);
        writer.open_flag = true;
        EXPECT_EQ(ps_open(writer, {}, streams), kPsOk);
        index_at_opening_ = files_.at(kIndex);
        write(writer, 0, kKeyPicture, 9'000, 0x80, 1000);
        write(writer, 0, kOtherPicture, 9'040, 0x80, 10);
        write(writer, 17, kOtherPicture, 9'050, 0x80, 31);
        write(writer, 0, kKeyPicture, 10'500, 0x80, 64);
        write(writer, 0, kOtherPicture, 10'540, 0x40, 5);
        index_before_closing_ = files_.at(kIndex);
        ps_writer_destroy(writer);
    }

    static void write(PsWriter& writer, std::uint16_t slot, std::uint8_t picture, std::uint32_t ms,
                      std::uint8_t kind, std::size_t length) {
        const std::vector<Byte> payload(length, 0x55);
        const PsFrame frame{slot, picture, 2018, 6, 22, 16, 5, ms / 1000, ms % 1000, kind, payload};
        EXPECT_EQ(ps_write_frame(writer, frame), kPsOk);
    }

    reader::Report verify() {
        reader::Recording recording(kData, files_);
        return reader::verify(recording);
    }

    /// The faults as "file:offset: text" after a byte was replaced; the byte is put back.
    std::vector<std::string> faults_with(const char* file, std::size_t at, int byte) {
        const char before = std::exchange(files_.at(file).at(at), static_cast<char>(byte));
        std::vector<std::string> faults = this->faults();
        files_.at(file).at(at) = before;
        return faults;
    }
    std::vector<std::string> faults() {
        std::vector<std::string> faults;
        const reader::Report report = verify();
        for (const auto& fault : report.faults.kept()) {
            faults.push_back(fault.file + ":" + std::to_string(fault.offset) + ": " + fault.text);
        }
        return faults;
    }

    MemoryFiles files_;
    std::string index_at_opening_;
    std::string index_before_closing_;
};

TEST_F(ReaderTest, ReportsWhatASoundRecordingHolds) {
    const reader::Report report = verify();
    EXPECT_TRUE(report.verified()) << testing::PrintToString(faults());
    EXPECT_EQ(reader::text_of(report.first), "2018-06-22 16:05:09.000");
    EXPECT_EQ(reader::text_of(report.last), "2018-06-22 16:05:10.540");
    EXPECT_EQ(report.frames, 5U);
    EXPECT_EQ(report.key_frames, 2U);
    EXPECT_EQ(report.spans, 4U);
    EXPECT_EQ(report.data_size, 3322U);
    EXPECT_EQ(report.index_size, 1088U + 5 * 32 + 4 * 16);
}

TEST_F(ReaderTest, NamesFileOffsetAndFaultOfAChangedByte) {
    const struct {
        const char* file;
        std::size_t at;
        int byte;
        const char* fault;
    } cases[] = {
        // Index: header, stream record of slot 0, entries, spans.
        {kIndex, 0, 2, "r.psi:0: header: version is 02 00 00 00, not 01 00 00 00"},
        {kIndex, 28, 0x09, "r.psi:28: header: first time is 09 9F 73 03, not 08 9F 73 03"},
        {kIndex, 64 + 8, 3, "r.psi:72: stream record 0: last entry is 03 00 00 00, not 04 00 00 00"},
        {kIndex, 64 + 25, 0x80, "r.psi:89: stream record 0: recording kinds is 80, not C0"},
        {kIndex, 1088 + 27, 1, "r.psi:1088: entry 0: reserved bytes are not zero"},
        {kIndex, 1120 + 3, 0xD0, "r.psi:1123: entry 1: program is D0, not C0"},
        {kIndex, 1120 + 12, 0x22, "r.psi:1132: entry 1: packet is at 3066, but the one before ends at 3034"},
        {kIndex, 1184 + 16, 0, "r.psi:1200: entry 3: linked back to 0, not 1"},
        {kIndex, 1184 + 24, 9, "r.psi:1208: entry 3: 9 packets since the last key picture, not 0"},
        {kIndex, 1120 + 20, 1, "r.psi:1120: chain of slot 0 leads to entry 1"},
        {kIndex, 1120 + 20, 2, "r.psi:1152: entry 2: stands in the chain of slot 0"},
        {kIndex, 1248 + 12, 0x00,
         "r.psi:1248: span 0: slot 0 kind 80 from 2018-06-22 16:05:09.000 to 2018-06-22 16:05:08.992, "
         "not slot 0 kind 80 from 2018-06-22 16:05:09.000 to 2018-06-22 16:05:09.040"},
        // Data: pack header, map, the header of packet 1, its padding.
        {kData, 13, 0xF8,
         "r.ps:0: pack header: content is 00 00 01 BA 44 00 04 00 ..., not 00 00 01 BA 44 00 04 00 ..."},
        {kData, 16 + 5, 0xA8, "r.ps:20: map: length is 07 A8, not 07 A4"},
        {kData, 16 + 106 + 58 + 1, 0xD0, "r.ps:181: map entry 1: stream id D0 stands for slot 0"},
        {kData, 3034 + 2, 2, "r.ps:3034: packet 1: start code is 00 00 02, not 00 00 01"},
        {kData, 3034 + 5, 0x3B, "r.ps:3038: packet 1: length is 00 3B, not 00 3A"},
        {kData, 3034 + 23, 0x21, "r.ps:3055: packet 1: size of the packet before is 80 0C 21, not 80 0C 20"},
        {kData, 3034 + 29, 0xF6, "r.ps:3063: packet 1: padding is F6, not D6"},
        {kData, 3097, 1, "r.ps:3076: packet 1: padding is not zero"},
    };
    for (const auto& c : cases) EXPECT_THAT(faults_with(c.file, c.at, c.byte), testing::Contains(c.fault));
}

/// Bytes that are anybody's: stream types, sizes and names, program info, index bytes, payloads.
bool is_free(const std::string& file, std::size_t at) {
    if (file == kIndex) return at >= 64 && at < 1088 && (at % 32 == 24 || at % 32 == 26);
    if (at >= 26 && at < 120) return (at - 26 >= 8 && at - 26 < 60);
    if (at >= 122 && at < 1978) {
        const std::size_t in_entry = (at - 122) % 58;
        return in_entry == 0 || (in_entry >= 4 && in_entry < 8) || in_entry >= 26;
    }
    const struct {
        std::size_t at;
        std::size_t payload;
    } packets[] = {{1978, 1000}, {3034, 10}, {3098, 31}, {3162, 64}, {3258, 5}};
    return std::any_of(std::begin(packets), std::end(packets), [&](const auto& packet) {
        // One byte less of padding, where that count is odd, is a payload that ends in a zero.
        const bool pads_less = at == packet.at + 29 && packet.payload % 2 == 1;
        return pads_less || (at >= packet.at + 32 && at < packet.at + 32 + packet.payload);
    });
}

TEST_F(ReaderTest, FindsEveryChangedByteThatMeansSomething) {
    for (const std::string file : {kIndex, kData}) {
        for (std::size_t at = 0; at < files_.at(file).size(); ++at) {
            const int flipped = files_.at(file)[at] ^ 0x01;
            const bool found = !faults_with(file.c_str(), at, flipped).empty();
            // The first code byte of the program info decides about every packet.
            const bool program_code = file == kData && at == 34;
            EXPECT_EQ(found, program_code || !is_free(file, at)) << file << " at " << at;
        }
    }
}

TEST_F(ReaderTest, FindsAPairThatEndsAnywhere) {
    for (const std::string file : {kIndex, kData}) {
        const std::string whole = files_.at(file);
        for (std::size_t length = 0; length < whole.size(); ++length) {
            files_.at(file) = whole.substr(0, length);
            EXPECT_FALSE(verify().verified()) << file << " of " << length << " bytes";
        }
        files_.at(file) = whole + '\0';
        EXPECT_EQ(faults().size(), 1U) << file << " with a byte behind its end";
        files_.at(file) = whole;
    }
    files_.remove_file(kIndex);
    EXPECT_THROW(reader::Recording(kData, files_), reader::CannotOpen);
}

TEST_F(ReaderTest, TellsAnIndexThatWasNeverCompleted) {
    files_.at(kIndex) = index_before_closing_;
    EXPECT_EQ(faults(), std::vector<std::string>{
                            "r.psi:20: index was never completed: room for 5 entries, none counted"});
    files_.at(kIndex) = index_at_opening_;  // nothing indexed, but packets there
    EXPECT_EQ(faults(), std::vector<std::string>{"r.ps:1978: file size is 3322, not 1978"});
}

TEST_F(ReaderTest, BelievesNoCountThatTheFileCannotHold) {
    for (const std::size_t count_at : {20U, 40U}) {
        const std::string whole = files_.at(kIndex);
        files_.at(kIndex).replace(count_at, 4, "\xFF\xFF\xFF\xFF");
        reader::Recording recording(kData, files_);
        EXPECT_LE(recording.entries(), (whole.size() - 1088) / 32);
        EXPECT_LE(recording.spans(), 4U);
        EXPECT_GT(reader::verify(recording).faults.count(), 0U);
        EXPECT_FALSE(recording.entry(recording.entries()).has_value());
        EXPECT_FALSE(recording.span(recording.spans()).has_value());
        files_.at(kIndex) = whole;
    }
}

TEST_F(ReaderTest, CountsMoreFaultsThanItKeeps) {
    std::string& data = files_.at(kData);
    std::fill(data.begin(), data.end(), '\xEE');
    const reader::Report report = verify();
    EXPECT_GT(report.faults.count(), reader::FaultList::kKept);
    EXPECT_EQ(report.faults.kept().size(), reader::FaultList::kKept);
}

}  // namespace
