#include "tools/ps/diagnosis.h"

#include <fmt/format.h>

#include <algorithm>
#include <array>
#include <cmath>

#include "mp4/box_walk.h"
#include "mp4/sample_cursor.h"
#include "platform/file.h"
#include "ps/stream_layout.h"

namespace ps_tool {
namespace {

constexpr BoxType kMeta = box_type("meta");
constexpr std::array kMandatory = {kStsd, kStts, kStsc, kStsz, kStco};
constexpr std::size_t kMaxBoxes = 100'000;  // limits memory use for a clip that consists of boxes
constexpr std::uint8_t kFourByteLengths = 3;

/// Larger frames do not fit in a packet.
constexpr std::uint32_t kMaxFrameSize = kPacketSizeBits - static_cast<std::uint32_t>(PesHeader::size);

class Diagnosis {
  public:
    Diagnosis(platform::InputFile& clip, const DryRun& dry_run, const DryRun& safe)
        : in_(&clip), dry_run_(dry_run), safe_(safe) {}

    std::vector<Finding> run() {
        if (!is_mp4(in_)) {
            return {{"no-ftyp", "", 4,
                     "the clip does not begin with an 'ftyp' box, so it is not recognized as MP4"}};
        }
        collect_boxes();
        check_fragments();
        if (dry_run_.tracks.empty()) check_meta();
        if (!dry_run_.converted()) check_short_entry();
        if (dry_run_.tracks.empty()) {
            check_box_ends();
            check_tables();
        }
        check_formats();
        check_times();
        if (!dry_run_.converted() && !dry_run_.tracks.empty()) explain_failure();
        return findings_;
    }

  private:
    void collect_boxes() {
        in_.clear();
        (void)gather_tracks(
            in_, [](const std::string&) {},
            [this](const BoxInfo& box) {
                if (boxes_.size() < kMaxBoxes) boxes_.push_back(box);
            });
        in_.clear();
    }

    void check_fragments() {
        if (const BoxInfo* fragment = find(kMoof)) {
            add("fragmented", *fragment, "the clip is fragmented; samples in movie fragments are not read");
        }
    }

    /// A "meta" box begins with a version, but the module enters it like a plain container. It then reads the
    /// version as a box size of 0, which means up to the end of the clip.
    void check_meta() {
        const auto meta = std::ranges::adjacent_find(boxes_, [this](const BoxInfo& box, const BoxInfo& next) {
            return box.type == kMeta && exceeds_clip(next);
        });
        if (meta == boxes_.end()) return;
        add("meta-ahead", *meta, "a 'meta' box precedes the tracks; nothing after its header is found");
    }

    /// Every sample entry is read like one of video, and the walk continues where its reader stopped. After
    /// the end of the box, the bytes there are not a header. Sound often has a shorter entry.
    void check_short_entry() {
        for (std::size_t i = 0; i < boxes_.size(); ++i) {
            const BoxInfo& box = boxes_[i];
            if (box.type != kStsd || exceeds_clip(box)) continue;
            const std::uint64_t end = box.payload_offset + box.payload_size;
            const std::uint64_t next = i + 1 < boxes_.size() ? boxes_[i + 1].offset : in_.size();
            if (next <= end) continue;
            add("short-sample-entry", box,
                fmt::format(
                    "a sample entry is shorter than one of video; it is read past its end by {} bytes, "
                    "and the boxes there are missed",
                    next - end));
            return;
        }
    }

    void check_box_ends() {
        if (!findings_.empty()) return;
        for (const BoxInfo& box : boxes_) {
            if (!exceeds_clip(box)) continue;
            add("truncated", box,
                fmt::format("the box has {} bytes, but the clip ends at byte {}", box.payload_size,
                            in_.size()));
            return;
        }
    }

    void check_tables() {
        if (const BoxInfo* long_offsets = find(kCo64)) {
            add("co64", *long_offsets, "64-bit chunk offsets are not read, so a mandatory table is missing");
            return;
        }
        std::vector<std::string> missing;
        for (const BoxType type : kMandatory) {
            if (find(type) == nullptr) missing.push_back(fmt::format("'{}'", name_of(type)));
        }
        const BoxInfo* where = find(kStbl) != nullptr ? find(kStbl) : find(kMoov);
        const BoxInfo end{kMoov, in_.size(), in_.size(), 0};
        if (where == nullptr && findings_.empty()) {
            add("no-moov", end, "the clip has no 'moov' box");
        } else if (where != nullptr && findings_.empty()) {
            add("no-tables", *where,
                missing.empty() ? "no track has samples in all mandatory tables"
                                : fmt::format("mandatory tables are missing: {}", fmt::join(missing, ", ")));
        }
    }

    void check_formats() {
        const BoxInfo* const box = find(kStsd);
        if (box == nullptr || dry_run_.tracks.empty()) return;
        std::size_t recorded = 0;
        for (const SampleTables& track : dry_run_.tracks) {
            const StsdEntry& entry = track.sample_descriptions.front();
            if (entry.format == kMp4a) continue;
            if (recorded++ > 0) {
                add("extra-tracks", *box,
                    fmt::format("another track, '{}', is recorded after the first one, as H.264 video",
                                name_of(entry.format)));
            } else if (!is_avc(entry.format)) {
                add("not-h264", *box,
                    fmt::format("the samples are '{}', but would be recorded as H.264",
                                name_of(entry.format)));
            } else if (entry.format == kAvc1 && entry.nal_length_size_minus_one != kFourByteLengths) {
                add("nal-length-size", *box,
                    fmt::format("NAL unit lengths have {} bytes, but are read as 4 bytes",
                                entry.nal_length_size_minus_one + 1));
            }
        }
    }

    /// Every frame has the duration that results from the movie's duration and the samples of the first
    /// track.
    void check_times() {
        constexpr double kMaxDeviation = 0.01;
        if (dry_run_.frames == 0) return;
        const BoxInfo* const box = find(kStsd);
        const bool sound_first = dry_run_.tracks.front().sample_descriptions.front().format == kMp4a;
        if (sound_first && box != nullptr)
            add("sound-ahead", *box,
                "the first track is sound; picture size and frame duration are taken from it");
        if (!safe_.converted() || safe_.frames != dry_run_.frames) return;
        if (std::abs(dry_run_.end - safe_.end) <= kMaxDeviation * safe_.end) return;
        findings_.push_back(
            {"other-times", "", 0,
             fmt::format("the clip lasts {:.3f} s, its recording {:.3f} s", safe_.end, dry_run_.end)});
    }

    /// Explains the first sample that was not converted.
    void explain_failure() {
        const auto is_enough = [](const Finding& finding) {
            return finding.rule == "short-sample-entry" || finding.rule == "extra-tracks";
        };
        if (std::ranges::any_of(findings_, is_enough)) return;
        std::uint64_t number = 0;
        for (const SampleTables& track : dry_run_.tracks) {
            if (track.sample_descriptions.front().format == kMp4a) continue;
            SampleCursor cursor(track);
            std::uint64_t at = 0;
            while (const auto sample = cursor.next()) {
                at = sample->chunk_offset.value_or(at);
                if (number++ == dry_run_.frames) {
                    return explain_sample(number, at, *sample, track.sample_sizes.largest());
                }
                at += sample->size;
            }
        }
    }

    void explain_sample(std::uint64_t number, std::uint64_t at, const Sample& sample, std::uint32_t largest) {
        const std::string name = fmt::format("sample {} of {} bytes", number, sample.size);
        if (at + sample.size > in_.size()) {
            findings_.push_back({"truncated", "", at,
                                 fmt::format("{} ends at byte {}, but the clip ends at byte {}", name,
                                             at + sample.size, in_.size())});
        } else if (sample.size > kMaxFrameSize) {
            findings_.push_back(
                {"large-sample", "", at, name + ": too large; a packet holds less than 4 MiB"});
        } else {
            findings_.push_back(
                {"bad-nal-length", "", at,
                 fmt::format("{}: a NAL unit is longer than the track's largest sample, {} bytes, or "
                             "exceeds the clip or the packet",
                             name, largest)});
        }
    }

    [[nodiscard]] const BoxInfo* find(BoxType type) const {
        const auto at = std::find_if(boxes_.begin(), boxes_.end(),
                                     [type](const BoxInfo& box) { return box.type == type; });
        return at == boxes_.end() ? nullptr : &*at;
    }

    [[nodiscard]] bool exceeds_clip(const BoxInfo& box) const {
        return box.payload_size > in_.size() || box.payload_offset > in_.size() - box.payload_size;
    }
    void add(std::string rule, const BoxInfo& box, std::string text) {
        findings_.push_back({std::move(rule), name_of(box.type), box.offset, std::move(text)});
    }

    BoxReader in_;
    const DryRun& dry_run_;
    const DryRun& safe_;
    std::vector<BoxInfo> boxes_;
    std::vector<Finding> findings_;
};

}  // namespace

std::vector<Finding> diagnose(const std::string& clip, const DryRun& dry_run, const DryRun& safe) {
    const auto file = platform::system_files().open_input(clip);
    if (!file) return {{"unreadable", "", 0, "the clip cannot be opened"}};
    return Diagnosis(*file, dry_run, safe).run();
}

bool is_avc(BoxType coding) {
    constexpr std::array kCodings = {kAvc1, box_type("avc2"), kAvc3, box_type("avc4")};
    return std::ranges::find(kCodings, coding) != kCodings.end();
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
