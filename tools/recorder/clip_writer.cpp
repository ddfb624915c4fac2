#include "tools/recorder/clip_writer.h"

#include <array>

#include "platform/bytes.h"

namespace recorder {
namespace {

constexpr std::uint32_t kHeaderSize = 8;

/// Bytes of a clip: integers big-endian, boxes around what follows them.
class ClipBytes {
  public:
    template <typename T>
    ClipBytes& add(T value) {
        std::array<platform::Byte, sizeof(T)> bytes{};
        platform::store<std::endian::big, T>(bytes, value);
        text_.append(reinterpret_cast<const char*>(bytes.data()), bytes.size());
        return *this;
    }
    ClipBytes& add_text(std::string_view text) {
        text_ += text;
        return *this;
    }
    ClipBytes& add_zeros(std::size_t count) {
        text_.append(count, '\0');
        return *this;
    }
    [[nodiscard]] const std::string& text() const { return text_; }

  private:
    std::string text_;
};

/// ISO/IEC 14496-12, 12.1.3, with the AVC configuration of ISO/IEC 14496-15, 5.3.3.1.
std::string video_description(const ClipPlan& plan) {
    const std::string configuration = ClipBytes()
                                          .add_text({"\x01\x42\x00\x1E\xFF\xE1", 6})
                                          .add<std::uint16_t>(4)
                                          .add_text({"\x67\x42\x00\x1E", 4})
                                          .add_text({"\x01", 1})
                                          .add<std::uint16_t>(2)
                                          .add_text({"\x68\xCE", 2})
                                          .text();
    const std::string entry = ClipBytes()
                                  .add_zeros(6)
                                  .add<std::uint16_t>(1)
                                  .add_zeros(16)
                                  .add<std::uint16_t>(plan.width)
                                  .add<std::uint16_t>(plan.height)
                                  .add<std::uint32_t>(0x00480000)
                                  .add<std::uint32_t>(0x00480000)
                                  .add_zeros(4)
                                  .add<std::uint16_t>(1)
                                  .add_zeros(32)
                                  .add<std::uint16_t>(24)
                                  .add<std::uint16_t>(0xFFFF)
                                  .add_text(box("avcC", configuration))
                                  .text();
    return box("stsd", ClipBytes().add_zeros(4).add<std::uint32_t>(1).add_text(box("avc1", entry)).text());
}

/// ISO/IEC 14496-12, 12.2.3.
std::string sound_description() {
    const std::string entry = ClipBytes()
                                  .add_zeros(6)
                                  .add<std::uint16_t>(1)
                                  .add_zeros(8)
                                  .add<std::uint16_t>(1)
                                  .add<std::uint16_t>(16)
                                  .add_zeros(4)
                                  .add<std::uint32_t>(8000U << 16U)
                                  .text();
    return box("stsd", ClipBytes().add_zeros(4).add<std::uint32_t>(1).add_text(box("mp4a", entry)).text());
}

/// A table box: version and flags, the words.
std::string table(std::string_view type, const std::vector<std::uint32_t>& words) {
    ClipBytes payload;
    payload.add_zeros(4);
    for (const std::uint32_t word : words) payload.add(word);
    return box(type, payload.text());
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
    return ClipBytes()
        .add(static_cast<std::uint32_t>(kHeaderSize + payload.size()))
        .add_text(type)
        .add_text(payload)
        .text();
}

std::string stored_sample(const PlannedSample& sample) {
    ClipBytes bytes;
    for (const std::string& unit : sample.units) {
        bytes.add(static_cast<std::uint32_t>(unit.size())).add_text(unit);
    }
    return bytes.text();
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
