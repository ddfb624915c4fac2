#include "tools/clip_maker/clip_writer.h"

#include "tools/clip_maker/byte_text.h"

namespace recorder {
namespace {

constexpr std::uint32_t kHeaderSize = 8;

/// A table box: version and flags, the words.
std::string table(std::string_view type, const std::vector<std::uint32_t>& words) {
    std::string payload = zeros(4);
    for (const std::uint32_t word : words) payload += big(word, 4);
    return box(type, payload);
}

/// A box of one sample entry.
std::string description(std::string_view coding, const std::string& entry) {
    return box("stsd", zeros(4) + big(1, 4) + box(coding, zeros(6) + big(1, 2) + entry));
}

/// ISO/IEC 14496-12, 12.1.3, with the AVC configuration of ISO/IEC 14496-15, 5.3.3.1.
std::string video_description(const ClipPlan& plan) {
    const std::string configuration =
        big(0x0142001EFFE1, 6) + big(4, 2) + big(0x6742001E, 4) + big(1, 1) + big(2, 2) + big(0x68CE, 2);
    return description("avc1", zeros(16) + big(plan.width, 2) + big(plan.height, 2) + big(0x00480000, 4) +
                                   big(0x00480000, 4) + zeros(4) + big(1, 2) + zeros(32) + big(24, 2) +
                                   big(0xFFFF, 2) + box("avcC", configuration));
}

/// ISO/IEC 14496-12, 12.2.3.
std::string sound_description() {
    return description("mp4a", zeros(8) + big(1, 2) + big(16, 2) + zeros(4) + big(8000U << 16U, 4));
}

std::string track(const std::string& tables) {
    return box("trak", box("mdia", box("minf", box("stbl", tables))));
}

std::vector<std::uint32_t> chunks_of(const ClipPlan& plan) {
    if (!plan.chunks.empty()) return plan.chunks;
    return {static_cast<std::uint32_t>(plan.samples.size())};
}

/// Where the samples stand, from which offset on; chunks lie back to back.
struct Tables {
    std::vector<std::uint32_t> sizes, keys, offsets, runs;
};
Tables tables_of(const ClipPlan& plan, std::uint32_t samples_at) {
    const auto count = static_cast<std::uint32_t>(plan.samples.size());
    Tables tables{{0, count}, {0}, {0}, {0}};
    const std::vector<std::uint32_t> chunks = chunks_of(plan);
    std::uint32_t number = 0;
    for (std::uint32_t chunk = 0; chunk < chunks.size(); ++chunk) {
        tables.offsets.push_back(samples_at);
        tables.runs.insert(tables.runs.end(), {chunk + 1, chunks[chunk], 1});
        for (std::uint32_t i = 0; i < chunks[chunk]; ++i, ++number) {
            const auto size = static_cast<std::uint32_t>(stored_sample(plan.samples[number]).size());
            tables.sizes.push_back(size);
            samples_at += size;
            if (plan.samples[number].key) tables.keys.push_back(number + 1);
        }
    }
    tables.keys.front() = static_cast<std::uint32_t>(tables.keys.size() - 1);
    tables.offsets.front() = tables.runs.front() = static_cast<std::uint32_t>(chunks.size());
    return tables;
}

std::string video_track(const ClipPlan& plan, std::uint32_t samples_at) {
    const Tables tables = tables_of(plan, samples_at);
    const auto count = static_cast<std::uint32_t>(plan.samples.size());
    const auto wanted = [&](std::string_view type, const std::string& text) {
        return type == plan.left_out ? std::string() : text;
    };
    return track(wanted("stsd", video_description(plan)) + wanted("stts", table("stts", {1, count, 1})) +
                 (plan.sync_table ? table("stss", tables.keys) : "") +
                 wanted("stsc", table("stsc", tables.runs)) + wanted("stsz", table("stsz", tables.sizes)) +
                 wanted("stco", table("stco", tables.offsets)));
}

std::string movie_box(const ClipPlan& plan, std::uint32_t samples_at) {
    const std::string header = plan.duration == 0 ? "" : table("mvhd", {0, 0, plan.timescale, plan.duration});
    const std::string sound =
        plan.sound_behind
            ? track(sound_description() + table("stts", {1, 1, 1}) + table("stsc", {1, 1, 1, 1}) +
                    table("stsz", {0, 1, 8}) + table("stco", {1, samples_at}))
            : "";
    return box("moov", header + video_track(plan, samples_at) + sound);
}

}  // namespace

std::string box(std::string_view type, std::string_view payload) {
    return big(kHeaderSize + payload.size(), 4).append(type).append(payload);
}

std::string stored_sample(const PlannedSample& sample) {
    std::string bytes;
    for (const std::string& unit : sample.units) bytes += big(unit.size(), 4) + unit;
    return bytes;
}

std::string clip_text(const ClipPlan& plan) {
    std::string samples;
    for (const PlannedSample& sample : plan.samples) samples += stored_sample(sample);
    const std::string type = box("ftyp", std::string("isom\0\0\2\0isomavc1", 16));
    const auto samples_at = static_cast<std::uint32_t>(type.size() + kHeaderSize);
    return type + box("mdat", samples) + movie_box(plan, samples_at) +
           (plan.unknown_box.empty() ? "" : box(plan.unknown_box, "whatever"));
}

}  // namespace recorder
