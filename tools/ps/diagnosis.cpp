#include "tools/ps/diagnosis.h"

#include <fmt/format.h>

#include <algorithm>
#include <array>

#include "mp4/box_walk.h"
#include "mp4/sample_cursor.h"
#include "platform/file.h"
#include "ps/stream_layout.h"

namespace ps_tool {
namespace {

constexpr BoxType kMoov = box_type("moov");
constexpr BoxType kMoof = box_type("moof");
constexpr BoxType kMeta = box_type("meta");
constexpr BoxType kStbl = box_type("stbl");
constexpr BoxType kCo64 = box_type("co64");
constexpr std::array kMandatory = {kStsd, kStts, kStsc, kStsz, kStco};
constexpr std::array kAvcFormats = {kAvc1, box_type("avc2"), box_type("avc3"), box_type("avc4")};
constexpr std::size_t kMaxBoxes = 100'000;  // that are kept of a clip made of nothing but boxes
constexpr std::uint8_t kFourByteLengths = 3;

/// Frames behind this do not fit a packet.
constexpr std::uint32_t kMaxFrameSize = kPacketSizeBits - static_cast<std::uint32_t>(PesHeader::size);

class Diagnosis {
  public:
    Diagnosis(platform::InputFile& clip, const Trial& trial) : in_(&clip), trial_(trial) {}

    std::vector<Finding> run();

  private:
    void walk();
    void look_at_fragments();
    void look_at_meta();
    void look_at_ends();
    void look_at_tables();
    void look_at_formats();
    void look_at_failed_sample();
    void explain_sample(std::uint64_t number, std::uint64_t at, const Sample& sample, std::uint32_t largest);
    [[nodiscard]] const BoxInfo* seen(BoxType type) const;
    [[nodiscard]] bool passes_end(const BoxInfo& box) const {
        return box.payload_size > in_.size() || box.payload_offset > in_.size() - box.payload_size;
    }
    void find(std::string rule, const BoxInfo& box, std::string text) {
        findings_.push_back({std::move(rule), name_of(box.type), box.offset, std::move(text)});
    }

    BoxReader in_;
    const Trial& trial_;
    std::vector<BoxInfo> boxes_;
    std::vector<Finding> findings_;
};

std::vector<Finding> Diagnosis::run() {
    if (!is_mp4(in_)) {
        return {
            {"no-ftyp", "", 4, "the clip does not begin with an 'ftyp' box: it is taken for no MP4 file"}};
    }
    walk();
    look_at_fragments();
    if (trial_.tracks.empty()) {
        look_at_meta();
        look_at_ends();
        look_at_tables();
    }
    look_at_formats();
    if (!trial_.converted() && !trial_.tracks.empty()) look_at_failed_sample();
    return findings_;
}

void Diagnosis::walk() {
    in_.clear();
    (void)gather_tracks(
        in_, [](const std::string&) {},
        [this](const BoxInfo& box) {
            if (boxes_.size() < kMaxBoxes) boxes_.push_back(box);
        });
    in_.clear();
}

const BoxInfo* Diagnosis::seen(BoxType type) const {
    const auto at =
        std::find_if(boxes_.begin(), boxes_.end(), [type](const BoxInfo& box) { return box.type == type; });
    return at == boxes_.end() ? nullptr : &*at;
}

void Diagnosis::look_at_fragments() {
    if (const BoxInfo* fragment = seen(kMoof)) {
        find("fragmented", *fragment, "the clip is fragmented: samples in movie fragments are not read");
    }
}

/// A "meta" box has a version in front of its children, but is walked into like any container: the version is
/// read as the size of a box that runs to the end of the clip.
void Diagnosis::look_at_meta() {
    for (std::size_t i = 0; i + 1 < boxes_.size(); ++i) {
        if (boxes_[i].type != kMeta || !passes_end(boxes_[i + 1])) continue;
        find("meta-ahead", boxes_[i],
             "a 'meta' box stands ahead of the tracks: nothing behind its header is found any more");
        return;
    }
}

void Diagnosis::look_at_ends() {
    if (!findings_.empty()) return;
    for (const BoxInfo& box : boxes_) {
        if (!passes_end(box)) continue;
        find("truncated", box,
             fmt::format("the box claims {} bytes, but the clip is truncated at byte {}", box.payload_size,
                         in_.size()));
        return;
    }
}

void Diagnosis::look_at_tables() {
    if (const BoxInfo* long_offsets = seen(kCo64)) {
        find("co64", *long_offsets, "chunk offsets of 64 bits are not read, so a mandatory table is missing");
        return;
    }
    std::vector<std::string> missing;
    for (const BoxType type : kMandatory) {
        if (seen(type) == nullptr) missing.push_back(fmt::format("'{}'", name_of(type)));
    }
    const BoxInfo* where = seen(kStbl) != nullptr ? seen(kStbl) : seen(kMoov);
    const BoxInfo end{kMoov, in_.size(), in_.size(), 0};
    if (where == nullptr && findings_.empty()) {
        find("no-moov", end, "there is no 'moov' box up to the end of the clip");
    } else if (where != nullptr && findings_.empty()) {
        find("no-tables", *where,
             missing.empty() ? "no track has samples in all of its mandatory tables"
                             : fmt::format("mandatory tables are missing: {}", fmt::join(missing, ", ")));
    }
}

void Diagnosis::look_at_formats() {
    const BoxInfo* const box = seen(kStsd);
    if (box == nullptr) return;
    for (const SampleTables& track : trial_.tracks) {
        const StsdEntry& entry = track.sample_descriptions.front();
        if (entry.format == kMp4a) continue;
        if (std::find(kAvcFormats.begin(), kAvcFormats.end(), entry.format) == kAvcFormats.end()) {
            find("not-h264", *box,
                 fmt::format("the samples are '{}', not H.264, and would be recorded as if they were",
                             name_of(entry.format)));
        } else if (entry.format == kAvc1 && entry.nal_length_size_minus_one != kFourByteLengths) {
            find("nal-length-size", *box,
                 fmt::format("lengths of NAL units have {} bytes, but are read as 4",
                             entry.nal_length_size_minus_one + 1));
        }
    }
}

/// The sample behind the last one that went into the recording.
void Diagnosis::look_at_failed_sample() {
    std::uint64_t number = 0;
    for (const SampleTables& track : trial_.tracks) {
        if (track.sample_descriptions.front().format == kMp4a) continue;
        SampleCursor cursor(track);
        std::uint64_t at = 0;
        while (const auto sample = cursor.next()) {
            at = sample->chunk_offset.value_or(at);
            if (number++ == trial_.frames) {
                return explain_sample(number, at, *sample, track.sample_sizes.largest());
            }
            at += sample->size;
        }
    }
}

void Diagnosis::explain_sample(std::uint64_t number, std::uint64_t at, const Sample& sample,
                               std::uint32_t largest) {
    const std::string name = fmt::format("sample {} of {} bytes", number, sample.size);
    if (at + sample.size > in_.size()) {
        findings_.push_back({"truncated", "", at,
                             fmt::format("{} ends at {}, but the clip is truncated at byte {}", name,
                                         at + sample.size, in_.size())});
    } else if (sample.size > kMaxFrameSize) {
        findings_.push_back({"large-sample", "", at, name + ": a packet holds less than 4 MiB"});
    } else {
        findings_.push_back(
            {"bad-nal-length", "", at,
             fmt::format("{}: the length of a NAL unit is more than the track's largest sample, {} bytes, or "
                         "leads past the clip or its packet",
                         name, largest)});
    }
}

}  // namespace

std::vector<Finding> diagnose(const std::string& clip, const Trial& trial) {
    const auto file = platform::system_files().open_input(clip);
    if (!file) return {{"unreadable", "", 0, "the clip cannot be opened"}};
    return Diagnosis(*file, trial).run();
}

std::string name_of(BoxType type) {
    std::string name;
    for (int shift = 24; shift >= 0; shift -= 8) {
        const char c = static_cast<char>(type >> shift & 0xFFU);
        name += c >= ' ' && c <= '~' ? c : '.';
    }
    return name;
}

}  // namespace ps_tool
