#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <map>
#include <string>
#include <utility>
#include <vector>

#include "ps/ps_writer.h"
#include "tests/support/memory_files.h"
#include "tools/reader/salvage.h"
#include "tools/reader/verify.h"

namespace {

using platform::Byte;

constexpr const char* kData = "r.ps";
constexpr const char* kIndex = "r.psi";

/// A recording of five packets in two slots and four spans.
constexpr struct {
    std::uint64_t at;
    std::uint32_t size;
    std::size_t payload;
    std::uint16_t slot;
    std::uint8_t picture;
    std::uint32_t ms;
    std::uint8_t kind;
} kPackets[] = {
    {1978, 1056, 1000, 0, kKeyFrame, 9'000, 0x80},
    {3034, 64, 10, 0, kOtherFrame, 9'040, 0x80},
    {3098, 64, 31, 17, kOtherFrame, 9'050, 0x80},
    {3162, 96, 64, 0, kKeyFrame, 10'500, 0x80},   // more than a second after the previous one of its slot
    {3258, 64, 5, 0, kOtherFrame, 10'540, 0x40},  // another recording kind
};
constexpr std::size_t kCount = std::size(kPackets);

PsStreamDescs streams() {
    PsStreamDescs streams;
    for (std::uint8_t slot = 0; slot < kSlots; ++slot) {
        streams.at(slot).type = 0x85;
        streams.at(slot).id = static_cast<std::uint8_t>(slot < 16 ? 0xD0 + slot : 0xB0 + slot);
    }
    return streams;
}

/// Writes the first packets of the recording, up to the first failed write. Then closes it, unless `killed`.
void write_pair(MemoryFiles& files, std::size_t packets, bool killed = false) {
    PsWriter writer;
    ps_writer_init(writer);
    writer.data = files.create_data(kData);
    writer.index = files.create_index(kIndex);
    writer.open_flag = true;
    bool ok = ps_open(writer, {}, streams()) == kPsOk;
    for (std::size_t i = 0; i < packets && ok; ++i) {
        const auto& p = kPackets[i];
        const std::vector<Byte> payload(p.payload, 0x55);
        ok = ps_write_frame(writer, {p.slot, p.picture, 2018, 6, 22, 16, 5, p.ms / 1000, p.ms % 1000, p.kind,
                                     payload}) == kPsOk;
    }
    if (killed) writer.open_flag = false;
    ps_writer_destroy(writer);
}

/// The middle of the first payload, which is skipped to save time: all of its bytes are equivalent.
bool is_payload_middle(const std::string& file, std::size_t at) {
    return file == kData && at > 2020 && at < 3000;
}

/// True for records of the map and of the stream table that are like those of other slots.
bool is_like_others(const std::string& file, std::size_t at) {
    const bool map = file == kData && at >= 122 && at < 1978;
    if (!map && (file == kData || at < 64 || at >= 1088)) return false;
    const std::size_t slot = map ? (at - 122) / 58 : (at - 64) / 32;
    return slot != 0 && slot != 1 && slot != 15 && slot != 17;
}

class ReaderTest : public testing::Test {
  protected:
    ReaderTest() {
        for (std::size_t packets = 0; packets <= kCount; ++packets) {
            write_pair(files_, packets);
            expected_indexes_.push_back(files_.at(kIndex));
        }
    }

    reader::Report verify(reader::VerifyDepth depth = reader::VerifyDepth::kHeaders) {
        reader::Recording recording(kData, files_);
        return reader::verify(recording, depth);
    }

    /// The faults as "file:offset: text", followed by "*" if a new index repairs them.
    std::vector<std::string> faults() {
        std::vector<std::string> faults;
        const reader::Report report = verify();
        for (const auto& fault : report.faults.kept()) {
            faults.push_back(fault.file + ":" + std::to_string(fault.offset) + ": " + fault.text +
                             (report.repairs(fault) ? "*" : ""));
        }
        return faults;
    }

    /// The faults after replacing a byte. Restores the byte.
    std::vector<std::string> faults_with(const std::string& file, std::size_t at, int byte) {
        const char before = std::exchange(files_.at(file).at(at), static_cast<char>(byte));
        std::vector<std::string> faults = this->faults();
        files_.at(file).at(at) = before;
        return faults;
    }

    /// Checks that the rebuilt index is the one for the complete packets of the data file.
    void expect_repaired(const std::string& what) {
        SCOPED_TRACE(what + testing::PrintToString(faults()));
        reader::Recording recording(kData, files_);
        const reader::Report report = reader::verify(recording);
        ASSERT_TRUE(report.verified() || report.repairable());
        const auto complete = std::count_if(
            std::begin(kPackets), std::end(kPackets),
            [&](const auto& packet) { return packet.at + packet.size <= recording.data_size(); });
        EXPECT_EQ(report.whole_end,
                  complete == 0 ? kPacketsAt : kPackets[complete - 1].at + kPackets[complete - 1].size);
        EXPECT_EQ(reader::rebuilt_index(recording, report),
                  expected_indexes_[static_cast<std::size_t>(complete)]);
    }

    MemoryFiles files_;
    std::vector<std::string> expected_indexes_;  // the index of the first n packets
};

TEST_F(ReaderTest, ReportsTheContentsOfAValidRecording) {
    const reader::Report report = verify();
    EXPECT_EQ(faults(), std::vector<std::string>());
    EXPECT_EQ(reader::rfc3339(report.first), "2018-06-22T16:05:09.000Z");
    EXPECT_EQ(reader::text_of(report.last), "2018-06-22 16:05:10.540");
    EXPECT_EQ(report.frames, 5U);
    EXPECT_EQ(report.key_frames, 2U);
    EXPECT_EQ(report.spans(), 4U);
    EXPECT_EQ(report.padding, 24U + 22 + 1 + 0 + 27);
    EXPECT_EQ(report.data_size, 3322U);
    EXPECT_EQ(report.index_size, 1088U + 5 * 32 + 4 * 16);
}

TEST_F(ReaderTest, FaultsHaveFileOffsetAndTextAndCanBeRepairableOrNot) {
    const struct {
        const char* file;
        std::size_t at;
        int byte;
        const char* fault;
    } cases[] = {
        // Index: header, stream record of slot 0, entries, spans.
        {kIndex, 0, 2, "r.psi:0: header: version is 02 00 00 00, not 01 00 00 00*"},
        {kIndex, 28, 0x09, "r.psi:28: header: first time is 09 9F 73 03, not 08 9F 73 03*"},
        {kIndex, 20, 4, "r.psi:20: 4 entries, but 5 complete packets in the data file*"},
        {kIndex, 64 + 8, 3, "r.psi:72: stream record 0: last entry is 03 00 00 00, not 04 00 00 00*"},
        {kIndex, 1088 + 27, 1, "r.psi:1115: entry 0: reserved is 01 00 00 00 00, not 00 00 00 00 00*"},
        {kIndex, 1120 + 12, 0x22, "r.psi:1132: entry 1: position is 22 00 00 00, not 21 00 00 00*"},
        {kIndex, 1184 + 16, 0, "r.psi:1200: entry 3: previous entry is 00 00 00 00, not 01 00 00 00*"},
        {kIndex, 1120 + 20, 2, "r.psi:1140: entry 1: next entry is 2, not 3*"},
        {kIndex, 1248 + 12, 0x00, "r.psi:1260: span 0: last time is 00 9F 73 03, not 30 9F 73 03*"},
        // Data: pack header, map, the header of packet 1, its padding.
        {kData, 16 + 5, 0xA8, "r.ps:20: map: length is 07 A8, not 07 A4*"},
        {kData, 16 + 106 + 58 + 1, 0xD0, "r.ps:181: map entry 1: stream id D0 does not belong to this slot*"},
        {kData, 3034 + 2, 2, "r.ps:3034: packet 1: start code is 00 00 02, not 00 00 01*"},
        {kData, 3034 + 5, 0x3B, "r.ps:3038: packet 1: length is 00 3B, not 00 3A*"},
        {kData, 3034 + 23, 0x21, "r.ps:3055: packet 1: size of the packet before is 80 0C 21, not 80 0C 20*"},
        {kData, 3034 + 24, 0x00, "r.ps:3058: packet 1: packet size is 00 08 40, not 80 08 40*"},
        {kData, 3034 + 29, 0xF6, "r.ps:3063: packet 1: padding is F6, not D6*"},
        {kData, 3097, 1, "r.ps:3076: packet 1: padding is not zero*"},
    };
    for (const auto& c : cases) EXPECT_THAT(faults_with(c.file, c.at, c.byte), testing::Contains(c.fault));
}

/// Bits that may have any value: stream types, picture sizes, names, program info, payloads.
bool is_free(const std::string& file, std::size_t at, unsigned bit) {
    if (file == kIndex) return false;
    // Two bits of the first code byte are repeated in every packet.
    if (at >= 26 + 8 && at < 26 + 60) return at != 34 || bit > 1;
    if (at >= 122 && at < 1978) {
        const std::size_t in_entry = (at - 122) % 58;
        const bool audio = at >= 122 + 16 * 58;
        return in_entry == 0 || in_entry >= 26 || (in_entry >= 4 && in_entry < (audio ? 8U : 6U));
    }
    return std::any_of(std::begin(kPackets), std::end(kPackets), [&](const auto& packet) {
        const std::size_t padding = packet.size - 32 - packet.payload;
        // With a smaller padding count the payload ends in zeros, which is valid.
        const bool smaller_padding = at == packet.at + 29 && bit < 5 && (padding >> bit & 1U) == 1;
        return smaller_padding || (at >= packet.at + 32 && at < packet.at + 32 + packet.payload);
    });
}

TEST_F(ReaderTest, FindsEveryFlippedBitThatIsNotFree) {
    for (const std::string file : {kIndex, kData}) {
        for (std::size_t at = 0; at < files_.at(file).size(); ++at) {
            if (is_payload_middle(file, at) || is_like_others(file, at)) continue;
            for (unsigned bit = 0; bit < 8; ++bit) {
                const bool found = !faults_with(file, at, files_.at(file)[at] ^ 1 << bit).empty();
                ASSERT_EQ(found, !is_free(file, at, bit)) << file << " at " << at << ", bit " << bit;
            }
        }
    }
}

/// The frames of a recording as a reader sees them.
std::vector<std::string> frames_of(MemoryFiles& files) {
    std::vector<std::string> frames;
    reader::Recording recording(kData, files);
    (void)reader::verify(recording, reader::VerifyDepth::kHeaders, [&](const reader::Packet& packet) {
        frames.push_back(reader::text_of(packet.time) + " slot " + std::to_string(packet.slot) + " flags " +
                         std::to_string(packet.flags) + " size " + std::to_string(packet.size));
    });
    return frames;
}

/// Repairs the pair in place. False if that is refused.
bool repair(MemoryFiles& files, reader::Trust trust = reader::Trust::kEvidence) {
    reader::Recording recording(kData, files);
    const reader::Report report = reader::verify(
        recording, reader::VerifyDepth::kHeaders, [](const reader::Packet&) {}, trust);
    if (!report.verified() && !report.repairable()) return false;
    const std::string index = reader::rebuilt_index(recording, report);
    std::string data = files.at(kData).substr(0, report.whole_end);
    reader::apply_corrections(report.corrections, 0, platform::bytes_of(data));
    files.put(kData, data);
    files.put(kIndex, index);
    return true;
}

/// A flipped bit in the padding can look like one in the number of padding bytes, and the other way round.
/// Without a complete index, the kind and the stream of a packet are what either packet or entry says.
bool may_be_refused(const std::string& file, std::size_t at, bool completed) {
    if (file == kIndex)
        return !completed && at >= kEntriesAt && ((at - kEntriesAt) % 32 == 0 || at % 32 == 2);
    return std::any_of(std::begin(kPackets), std::end(kPackets), [&](const auto& packet) {
        const bool padding = at >= packet.at + 32 + packet.payload && at < packet.at + packet.size;
        const bool stream_or_kind = at == packet.at + 3 || at == packet.at + 27;
        return padding || at == packet.at + 29 || (stream_or_kind && !completed);
    });
}

TEST_F(ReaderTest, EveryFlippedBitIsRepairedToTheOriginalRefusedOrHarmless) {
    const struct {
        std::size_t packets;
        bool killed;
    } cases[] = {{kCount, false}, {1, false}, {kCount, true}};
    for (const auto& c : cases) {
        write_pair(files_, c.packets, c.killed);
        const std::map<std::string, std::string> before = {{kData, files_.at(kData)},
                                                           {kIndex, files_.at(kIndex)}};
        const std::vector<std::string> frames = frames_of(files_);
        for (const auto& [file, content] : before) {
            const std::size_t head =
                file == kData && (c.killed || c.packets < kCount) ? kPacketsAt : 0;  // as above
            for (std::size_t bit = head * 8; bit < content.size() * 8; ++bit) {
                const std::size_t at = bit / 8;
                if (is_payload_middle(file, at) || is_like_others(file, at)) continue;
                for (const auto& [path, old] : before) files_.put(path, old);
                files_.at(file).at(at) ^= static_cast<char>(1 << bit % 8);
                SCOPED_TRACE(file + " at " + std::to_string(at) + ", bit " + std::to_string(bit % 8));
                if (!repair(files_)) {
                    ASSERT_TRUE(may_be_refused(file, at, !c.killed));
                } else if (file == kData && is_free(file, at, bit % 8)) {
                    ASSERT_EQ(frames_of(files_), frames);
                } else {
                    ASSERT_EQ(files_.at(kData), before.at(kData));
                    ASSERT_EQ(files_.at(kIndex), expected_indexes_[c.packets]);
                }
            }
        }
    }
}

TEST_F(ReaderTest, AContradictionIsDecidedByEvidenceOrAsTheCallerSays) {
    const std::string data = files_.at(kData);
    const std::string index = files_.at(kIndex);
    constexpr std::size_t kYear = 3034 + 31;  // of packet 1
    files_.at(kData).at(kYear) ^= 2;
    const std::string wrong = files_.at(kData);
    EXPECT_EQ(faults(), std::vector<std::string>{"r.ps:3064: packet 1: date is D6 26, not D6 24*"});
    EXPECT_TRUE(repair(files_, reader::Trust::kData));
    EXPECT_EQ(files_.at(kData), wrong);
    EXPECT_TRUE(verify().verified());

    // Two independent faults: one in a packet and one in the entry of another packet.
    files_.at(kIndex) = index;
    files_.at(kIndex).at(1088 + 32 * 4 + 7) ^= 2;
    EXPECT_TRUE(repair(files_));
    EXPECT_EQ(files_.at(kData), data);
    EXPECT_EQ(files_.at(kIndex), index);

    // A packet and its own entry: different values, and two wrong values of one field.
    files_.at(kData).at(kYear) ^= 2;
    files_.at(kIndex).at(1088 + 32 + 12) ^= 1;
    EXPECT_TRUE(repair(files_));
    EXPECT_EQ(files_.at(kData), data);
    EXPECT_EQ(files_.at(kIndex), index);
    files_.at(kData).at(kYear) ^= 2;
    files_.at(kIndex).at(1088 + 32 + 7) ^= 4;
    EXPECT_FALSE(repair(files_));

    // The kind of a packet that is a span of its own, without a span in the index.
    write_pair(files_, kCount, true);
    files_.at(kData).at(3162 + 27) ^= 0x40;
    EXPECT_THAT(faults(), testing::Contains(testing::HasSubstr("either can be right")));
    EXPECT_FALSE(verify().repairable());
    EXPECT_TRUE(repair(files_, reader::Trust::kIndex));
    EXPECT_EQ(files_.at(kData), data);
}

TEST_F(ReaderTest, FindsAndRepairsTruncationAtAnyByte) {
    const std::string index = files_.at(kIndex);
    const std::string data = files_.at(kData);
    for (std::size_t length = 0; length < index.size(); ++length) {
        files_.at(kIndex) = index.substr(0, length);
        ASSERT_FALSE(verify().verified()) << "index of " << length << " bytes";
        expect_repaired("index of " + std::to_string(length));
    }
    for (std::size_t length = 0; length < data.size(); ++length) {
        if (is_payload_middle(kData, length)) continue;
        files_.at(kIndex) = index;
        files_.at(kData) = data.substr(0, length);
        ASSERT_FALSE(verify().verified()) << "data of " << length << " bytes";
        ASSERT_EQ(verify().repairable(), length >= kPacketsAt) << length;
        if (length < kPacketsAt) continue;
        expect_repaired("data of " + std::to_string(length));
        files_.remove_file(kIndex);
        expect_repaired("no index, data of " + std::to_string(length));
        files_.put(kIndex, index);
    }
    files_.at(kData) = data + std::string(100, '\0');
    expect_repaired("zeros after the end");
}

TEST_F(ReaderTest, MissingBytesNeverMakeTheLastPacketATail) {
    for (const auto& [packets, indexed] : {std::pair{2U, true}, {2U, false}, {5U, true}, {5U, false}}) {
        write_pair(files_, packets);
        if (!indexed) files_.remove_file(kIndex);
        const std::string data = files_.at(kData);
        const std::size_t last_at = kPackets[packets - 1].at;
        for (std::size_t from = kPacketsAt + 32; from < last_at; from += 16) {
            for (std::size_t to = from + 16; to <= last_at; to += 16) {
                SCOPED_TRACE(std::to_string(from) + " to " + std::to_string(to));
                files_.put(kData, std::string(data).erase(from, to - from));
                reader::Recording recording(kData, files_);
                const reader::Report report = reader::verify(recording);
                ASSERT_TRUE(!report.repairable() || report.whole_end == recording.data_size());
                const bool within_packet = std::ranges::any_of(kPackets, [&](const auto& packet) {
                    return from >= packet.at + 32 && to <= packet.at + packet.size;
                });
                if (!within_packet) continue;
                ASSERT_GT(report.faults.unrepairable(), 0U);
                const reader::Salvage saved = reader::salvage(recording, report);
                ASSERT_EQ(saved.frames, packets - 1);
                ASSERT_EQ(saved.ranges.back().end, recording.data_size());
            }
        }
    }
}

TEST_F(ReaderTest, RepairsTheResultOfAFailedOrKilledConversion) {
    for (const bool killed : {false, true}) {
        for (const bool partly : {false, true}) {
            for (std::uint64_t call = 1;; ++call) {
                files_.output = {.fail_at = call, .partly = partly};
                write_pair(files_, kCount, killed);
                const bool went_through = files_.output.calls < call;
                if (files_.at(kData).size() >= kPacketsAt) expect_repaired("call " + std::to_string(call));
                if (went_through) break;
            }
        }
    }
}

TEST_F(ReaderTest, ContinuesAfterDamageButDoesNotRepairIt) {
    std::fill_n(files_.at(kData).begin() + 3034, 40, '\xEE');  // packet 1 and its sizes
    EXPECT_EQ(faults(),
              std::vector<std::string>{"r.ps:3034: packet 1: unrecognizable; the next packet is at 3098"});
    EXPECT_EQ(verify().frames, 4U);

    std::fill(files_.at(kData).begin() + 1978, files_.at(kData).end(), '\xEE');
    EXPECT_GT(verify().faults.count(), 0U);
    EXPECT_EQ(verify().frames, 0U);
}

TEST_F(ReaderTest, ReportsAMissingFile) {
    files_.remove_file(kIndex);
    EXPECT_THAT(faults(), testing::ElementsAre(testing::HasSubstr("r.psi:0: the index file is missing")));
    write_pair(files_, kCount);
    files_.remove_file(kData);
    EXPECT_THAT(faults(), testing::ElementsAre(testing::HasSubstr("r.ps:0: the data file is missing")));
    files_.remove_file(kIndex);
    EXPECT_THROW(reader::Recording(kData, files_), reader::CannotOpen);
}

TEST_F(ReaderTest, LimitsCountsToTheFileSize) {
    for (const std::size_t count_at : {20U, 40U}) {
        files_.at(kIndex).replace(count_at, 4, "\xFF\xFF\xFF\xFF");
        reader::Recording recording(kData, files_);
        EXPECT_LE(recording.entries(), 7U);  // the spans are read as entries
        EXPECT_LE(recording.spans(), 4U);
        EXPECT_GT(reader::verify(recording).faults.count(), 0U);
        EXPECT_FALSE(recording.entry(recording.entries()).has_value());
        EXPECT_FALSE(recording.span_record(recording.spans()).has_value());
        write_pair(files_, kCount);
    }
}

TEST_F(ReaderTest, ChecksPayloadsOnlyOnRequest) {
    EXPECT_TRUE(verify().verified());
    const reader::Report report = verify(reader::VerifyDepth::kPayloads);
    EXPECT_EQ(report.faults.count(), 4U);  // one per video frame; slot 17 is audio
    EXPECT_EQ(report.faults.kept().front().text, "packet 0: payload does not begin with a start code");
}

TEST(PacketTimeTest, ParsesTheTimesThatItFormats) {
    const auto instant = reader::parse_instant("2018-06-22T16:05:09.500Z");
    ASSERT_TRUE(instant.has_value());
    EXPECT_EQ(instant, 1'529'683'509'500);
    EXPECT_EQ(reader::rfc3339(reader::packet_time_of(*instant).value()), "2018-06-22T16:05:09.500Z");
    EXPECT_EQ(reader::parse_instant("2018-06-22 16:05:09.5"), instant);
    for (const char* wrong :
         {"", "2018", "2018-13-01T00:00:00Z", "2018-02-30T00:00:00Z", "2018-06-22T24:00:00Z",
          "2018-06-22T16:05:09.5000Z", "2018-06-22T16:05:09+02:00", "x2018-06-22T16:05:09"}) {
        EXPECT_EQ(reader::parse_instant(wrong), std::nullopt) << wrong;
    }
    EXPECT_EQ(reader::packet_time_of(0), std::nullopt);
}

}  // namespace
