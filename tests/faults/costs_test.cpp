// Limits of what a hostile clip or message can cost: peak memory, and bytes read and written in proportion to
// the clip's size. Nothing is timed.

#include <gtest/gtest.h>

#include <iostream>

#include "convert/mp4_parser.h"
#include "tests/faults/retrieval.h"
#include "tests/support/allocations.h"
#include "tests/support/memory_files.h"

namespace {

constexpr std::uint64_t kMiB = 1ULL << 20;
constexpr std::uint64_t kMinRead = 4'096;
constexpr std::uint32_t kFourBillion = 4'000'000'000;

/// A clip that ends with zeros, which are not stored.
struct HostileClip {
    std::string head;
    std::uint64_t zeros = 0;
};

struct Cost {
    std::uint64_t memory = 0;  // peak
    std::uint64_t read = 0;
    std::uint64_t written = 0;
    std::uint64_t spans = 0;
    std::uint64_t lines = 0;
    std::int32_t result = 0;
};

/// A clip, or a file that discards what is written. Counts both.
class CountingFile final : public platform::InputFile, public platform::DataFile, public platform::IndexFile {
  public:
    CountingFile(const HostileClip& clip, Cost& cost) : clip_(clip), cost_(cost) {}

    [[nodiscard]] std::uint64_t size() const override { return clip_.head.size() + clip_.zeros; }
    std::size_t read_at(std::uint64_t position, std::span<platform::Byte> to) override {
        const std::size_t count = position < size() ? std::min<std::size_t>(to.size(), size() - position) : 0;
        std::ranges::fill(to.first(count), platform::Byte{0});
        const std::string_view head = clip_.head;
        if (position < head.size())
            std::ranges::copy(platform::bytes_of(head.substr(position, count)), to.begin());
        cost_.read += count;
        return count;
    }
    std::int64_t append(const Parts& parts) override {
        const std::int64_t before = length_;
        for (const auto part : parts) length_ += static_cast<std::int64_t>(part.size());
        cost_.written += static_cast<std::uint64_t>(length_ - before);
        return length_ - before;
    }
    std::int64_t position() override { return length_; }
    std::size_t write_at(std::uint64_t position, std::span<const platform::Byte> bytes) override {
        cost_.written += bytes.size();
        if (position == 0) cost_.spans = PsiHeader::Spans::get(bytes.first<PsiHeader::size>());
        return bytes.size();
    }

  private:
    const HostileClip& clip_;
    Cost& cost_;
    std::int64_t length_ = 0;
};

class CountingFiles final : public MemoryFiles {
  public:
    CountingFiles(const HostileClip& clip, Cost& cost) : clip_(clip), cost_(cost) { put("", ""); }

    [[nodiscard]] std::unique_ptr<platform::InputFile> open_input(const std::string& /*path*/) override {
        return std::make_unique<CountingFile>(clip_, cost_);
    }
    [[nodiscard]] std::unique_ptr<platform::DataFile> create_data(const std::string& /*path*/) override {
        return std::make_unique<CountingFile>(clip_, cost_);
    }
    [[nodiscard]] std::unique_ptr<platform::IndexFile> create_index(const std::string& /*path*/) override {
        return std::make_unique<CountingFile>(clip_, cost_);
    }

  private:
    const HostileClip& clip_;
    Cost& cost_;
};

Cost cost_of(const HostileClip& clip) {
    Cost cost;
    StreamRecord request;
    request.startSeconds = 1'529'683'509;
    const std::int64_t before = allocations::live_bytes;
    allocations::peak_bytes = before;
    {
        CountingFiles files(clip, cost);
        InstantSleeper sleeper;
        norvane::Mp4Parser parser(
            request, {files, sleeper, [&cost](std::int32_t, const std::string&) { ++cost.lines; }});
        cost.result = parser.parse_container();
    }
    cost.memory = static_cast<std::uint64_t>(allocations::peak_bytes - before);
    EXPECT_EQ(allocations::live_bytes.load(), before);
    return cost;
}

std::string repeated(const std::string& text, std::size_t times) {
    std::string all;
    all.reserve(text.size() * times);
    for (std::size_t i = 0; i < times; ++i) all += text;
    return all;
}

std::string table_of(const std::string& type, std::uint32_t count, const std::string& entries) {
    return box(type, zeros(4) + be32(count) + entries);
}
std::string samples_of(std::uint32_t size_of_all, std::uint32_t count, const std::string& sizes = "") {
    return box("stsz", zeros(4) + be32(size_of_all) + be32(count) + sizes);
}
const std::string kDescription = table_of("stsd", 1, zeros(86));
std::string times(std::uint32_t count) {
    return table_of("stts", 1, be32(count) + be32(1));
}
std::string chunks_of(std::uint32_t samples) {
    return table_of("stsc", 1, be32(1) + be32(samples) + be32(1));
}

const std::string kLargeTables =
    samples_of(0, kFourBillion, zeros(kMiB)) + table_of("stss", kFourBillion, zeros(kMiB));

/// A clip of these boxes, and its limits.
struct Case {
    const char* name;
    std::string tables;
    struct {
        std::uint64_t zeros = 0;           // after the tables; as samples, these are units of length 0
        std::uint64_t largest_sample = 0;  // at most the size of the clip
        std::int32_t result = 0;
        std::uint64_t tables_too = 0;      // zeros that belong to a table
        std::uint64_t tables_at_once = 0;  // bytes of tables in memory at a time, if not all are
    } more = {};
};

std::vector<Case> hostile_clips() {
    const std::string claim = be32(kFourBillion);
    const std::string one_chunk = table_of("stco", 1, be32(1'000'000));
    const std::string one_each = chunks_of(1);
    const std::string plain = kDescription + times(1);
    const std::string slow = box("mvhd", zeros(12) + be32(1) + be32(3'000'000) + zeros(80));
    const std::string track = plain + one_each + samples_of(4, 1) + table_of("stco", 1, be32(2'000'000));
    return {
        {"counts of four billion",
         table_of("stsd", kFourBillion, zeros(86)) + table_of("stts", kFourBillion, zeros(8)) +
             table_of("stsc", kFourBillion, be32(1) + be32(1) + be32(1)) +
             samples_of(0, kFourBillion, zeros(8)) + table_of("stco", kFourBillion, zeros(8)) +
             table_of("stss", kFourBillion, zeros(8))},
        {"four billion samples of one size in one chunk",
         plain + chunks_of(kFourBillion) + samples_of(4, kFourBillion) + one_chunk,
         {.zeros = kMiB + kMiB / 8, .largest_sample = 4, .result = 3}},
        {"one sample listed twenty thousand times",
         plain + one_each + samples_of(4'000, kFourBillion) +
             table_of("stco", 20'000, repeated(be32(200'000), 20'000)),
         {.zeros = kMiB, .largest_sample = 4'000}},
        {"samples of 4 MiB",
         plain + chunks_of(3) + samples_of(4'194'236, 3) + one_chunk,
         {.zeros = 16 * kMiB, .largest_sample = 4'194'236}},
        {"a unit up to the end of the clip and a table that claims more",
         plain + chunks_of(2) + samples_of(0, 2, be32(8) + be32(kFourBillion)) +
             table_of("stco", 1, be32(12)) + box("free", be32(12 * kMiB)),
         {.zeros = 12 * kMiB, .largest_sample = 12 * kMiB, .result = 3}},
        {"a span for each frame",
         slow + plain + chunks_of(100'000) + samples_of(0, 100'000, zeros(400'000)) + one_chunk},
        {"a table box for the whole clip",
         plain + one_each + table_of("stco", 1, zeros(4)) + box_header(8 * kMiB, "stsz") + zeros(8) + claim,
         {.zeros = 8 * kMiB, .tables_too = 8 * kMiB}},
        {"endless sample descriptions", table_of("stsd", kFourBillion, zeros(86 * 20'000)) + times(1) +
                                            one_each + samples_of(0, 1, zeros(4)) +
                                            table_of("stco", 1, zeros(4))},
        {"many tracks", repeated(track, 5'000), {.zeros = 2 * kMiB, .largest_sample = 4}},
        {"tables that replace earlier ones",
         repeated(kLargeTables, 10),
         {.result = 1, .tables_at_once = 3 * kMiB}},
        {"nested containers", repeated(box_header(8'000'000, "moov"), 200'000), {.result = 1}},
        {"sizes of almost 2^64",
         repeated(box_header(1, "free") + be64(~std::uint64_t{0}), 1'000),
         {.result = 1}},
        {"boxes smaller than their headers",
         repeated(box_header(7, "trak") + box_header(0, "mdia"), 10'000),
         {.result = 1}},
        {"only unknown boxes", repeated(box("evil", ""), 50'000), {.result = 1}},
    };
}

/// The peak memory that the worker needs for the text as one message.
std::int64_t memory_of(SyncLayer& worker, FakeHost& host, const std::string& text) {
    const StreamRecord message = host.lend_message(text);
    const std::int64_t before = allocations::live_bytes;
    allocations::peak_bytes = before;
    EXPECT_TRUE(worker.append(message));
    worker.run();
    return allocations::peak_bytes - before;
}

}  // namespace

TEST(Costs, ClipIsProcessedWithinLimits) {
    for (const Case& row : hostile_clips()) {
        SCOPED_TRACE(row.name);
        const HostileClip clip{box("ftyp", "isom") + row.tables, row.more.zeros};
        const Cost cost = cost_of(clip);
        EXPECT_EQ(cost.result, row.more.result);
        const std::uint64_t tables =
            row.more.tables_at_once > 0 ? row.more.tables_at_once : row.tables.size() + row.more.tables_too;
        EXPECT_LE(cost.memory, kMiB + 2 * row.more.largest_sample + 4 * tables + 16 * cost.spans);
        // A chunk may need a seek, which reads at least 4 KiB. A frame is at least 64 bytes of output.
        const std::uint64_t size = clip.head.size() + clip.zeros;
        EXPECT_LE(cost.read, 2 * size + cost.written + kMinRead * (1 + cost.written / 64));
        EXPECT_LE(cost.lines, 5 + size / 8);
        std::cout << row.name << ": clip of " << size << " bytes, " << cost.memory << " bytes of memory, "
                  << cost.read << " read, " << cost.written << " written\n";
    }
}

TEST(Costs, MessageNeedsMemoryInProportionToItsLength) {
    Retrieval retrieval;
    ASSERT_TRUE(retrieval.start());
    std::string attributes = "<Pavo";
    for (int i = 0; i < 50'000; ++i) attributes += " a" + std::to_string(i) + "=''";
    std::string channels = "<Pavo><Devices ID='7'>";
    for (int i = 1; i <= 50'000; ++i)
        channels += "<Device Number='" + std::to_string(i) +
                    "' NorVaneSupported='1'><Codec><Encoder Number='0'><Channel Connected='0' "
                    "Time='1'/></Encoder></Codec></Device>";
    const std::pair<const char*, std::string> messages[] = {
        {"attributes", attributes + "/>"},
        {"nested", repeated("<a>", 100'000)},
        {"siblings", "<Pavo>" + repeated("<a/>", 100'000) + "</Pavo>"},
        {"devices", channels + "</Devices></Pavo>"},
        {"inputs", "<Pavo><Devices><Device><Storage GUID='00000000-0000-0000-0000-000000000001'>" +
                       repeated("<Input><Context/></Input>", 20'000) +
                       "</Storage></Device></Devices></Pavo>"},
        {"text", "<Pavo>" + repeated("&amp;", 200'000) + "</Pavo>"},
    };
    for (const auto& [name, text] : messages) {
        const std::int64_t memory = memory_of(*retrieval.worker, retrieval.host, text);
        EXPECT_LE(memory, 64 * static_cast<std::int64_t>(text.size()) + 65'536) << name;
        std::cout << name << ": message of " << text.size() << " bytes, " << memory << " bytes of memory\n";
    }
    EXPECT_TRUE(retrieval.responds());
    retrieval.end();
}
