// norvanepi-ps frames: prints the entries of an index, one per line.

#include <fmt/format.h>

#include <algorithm>
#include <memory>
#include <optional>

#include "tools/cli/exit_status.h"
#include "tools/cli/plural.h"
#include "tools/cli/recording_paths.h"
#include "tools/h264/syntax.h"
#include "tools/ps/command.h"
#include "tools/ps/export/sha256.h"
#include "tools/reader/nal_scan.h"
#include "tools/reader/packet.h"
#include "tools/reader/recording.h"

namespace ps_tool {
namespace {

using cli::Json;

/// What --payloads adds about a frame.
struct FramePayload {
    std::vector<unsigned> nal_types = {};
    std::optional<char> picture = {};  // 'I', 'P' or 'B'
    std::string sha256 = {};
};

/// A picture with slices of different types has the one that refers to most: B, then P.
std::optional<char> picture_type(std::span<const platform::Byte> bytes,
                                 const std::vector<reader::NalUnit>& units) {
    constexpr std::string_view kByReferences = "BPI";
    std::optional<char> picture;
    for (std::size_t i = 0; i < units.size(); ++i) {
        const auto letter = h264::slice_letter(reader::unit_at(bytes, units, i));
        if (letter && (!picture || kByReferences.find(*letter) < kByReferences.find(*picture)))
            picture = letter;
    }
    return picture;
}

/// Nothing if the entry does not lead to a packet in the data file.
std::optional<FramePayload> read_payload(reader::Recording& recording, const reader::Entry& entry,
                                         Sha256& sha256) {
    const auto header = recording.packet_header(entry.packet_offset);
    if (!header) return std::nullopt;
    const reader::Packet packet = reader::parse_packet(*header, entry.number, entry.packet_offset);
    if (packet.size < PesHeader::size + packet.padding) return std::nullopt;
    std::vector<platform::Byte> bytes(packet.payload());
    if (!recording.read_data(packet.offset + PesHeader::size, bytes)) return std::nullopt;
    const auto units = reader::nal_units(bytes);
    FramePayload payload;
    for (const reader::NalUnit& unit : units) payload.nal_types.push_back(unit.type);
    payload.picture = picture_type(bytes, units);
    payload.sha256 = sha256.of_bytes(bytes);
    return payload;
}

std::string link(std::uint32_t entry) {
    return entry == kNoEntry ? "" : std::to_string(entry);
}

Json json_link(std::uint32_t entry) {
    return entry == kNoEntry ? Json() : Json(entry);
}

class FramesPrinter {
  public:
    explicit FramesPrinter(const Options& options) : csv_(options.csv), json_(json_list(options, "frames")) {
        if (options.payloads) sha256_ = std::make_unique<Sha256>();
    }

    void begin() const {
        if (json_ != nullptr) return;
        print_row("number", "slot", csv_ ? "time" : "time (UTC)", "key", "size", "position", "previous",
                  "next", csv_ ? "key_distance" : "key distance");
        if (sha256_ != nullptr) print_more("NAL units", "picture", "sha256");
        fmt::print("\n");
    }

    void print(reader::Recording& recording, const reader::Entry& entry) {
        std::optional<FramePayload> payload;
        if (sha256_ != nullptr) payload = read_payload(recording, entry, *sha256_);
        if (sha256_ != nullptr && !payload) ++unread_payloads_;
        if (json_ != nullptr) return json_->add(json_of_frame(entry, payload));
        const bool key = entry.is_key();
        print_row(entry.number, entry.slot, csv_ ? reader::rfc3339(entry.time) : reader::text_of(entry.time),
                  csv_ ? (key ? "1" : "0") : (key ? "key" : ""), entry.packet_size, entry.packet_offset,
                  link(entry.previous), link(entry.next), entry.key_distance);
        if (sha256_ != nullptr) {
            const FramePayload shown = payload.value_or(FramePayload{});
            print_more(fmt::format("{}", fmt::join(shown.nal_types, " ")),
                       shown.picture ? std::string(1, *shown.picture) : "", shown.sha256);
        }
        fmt::print("\n");
    }

    void finish(const std::string& path, const cli::UnusableInputs& unusable) {
        if (json_ == nullptr) return;
        Json members = Json::object();
        cli::add_path(members, path);
        members["unusable"] = unusable.json();
        json_->finish(members);
    }
    [[nodiscard]] std::uint64_t unread_payloads() const { return unread_payloads_; }

  private:
    template <typename... Cells>
    void print_row(const Cells&... cells) const {
        if (csv_)
            fmt::print("{},{},{},{},{},{},{},{},{}", cells...);
        else
            fmt::print("{:>8} {:>4} {:<24} {:<3} {:>8} {:>12} {:>8} {:>8} {:>12}", cells...);
    }
    void print_more(std::string_view types, std::string_view picture, std::string_view sha256) const {
        if (csv_)
            fmt::print(",{},{},{}", types, picture, sha256);
        else
            fmt::print("  {:<12} {:<7} {}", types, picture, sha256);
    }

    [[nodiscard]] Json json_of_frame(const reader::Entry& entry,
                                     const std::optional<FramePayload>& payload) const {
        Json frame = {{"number", entry.number},
                      {"slot", entry.slot},
                      {"time", entry.time.plausible() ? Json(reader::rfc3339(entry.time)) : Json()},
                      {"key", entry.is_key()},
                      {"size", entry.packet_size},
                      {"position", entry.packet_offset},
                      {"previous", json_link(entry.previous)},
                      {"next", json_link(entry.next)},
                      {"key_distance", entry.key_distance}};
        if (sha256_ == nullptr) return frame;
        frame["nal_types"] = payload ? Json(payload->nal_types) : Json();
        frame["picture"] = payload && payload->picture ? Json(std::string(1, *payload->picture)) : Json();
        frame["sha256"] = payload ? Json(payload->sha256) : Json();
        return frame;
    }

    bool csv_;
    std::unique_ptr<cli::JsonList> json_;  // null for text and CSV
    std::unique_ptr<Sha256> sha256_;       // null without --payloads
    std::uint64_t unread_payloads_ = 0;
};

/// Throws if the recording, or a part of what is asked for, cannot be used.
void print_frames(const Options& options, reader::Recording& recording, FramesPrinter& printer) {
    if (!recording.has_index()) throw cli::CannotRun("no index; run norvanepi-ps repair to create it");
    if (recording.entries() == 0 && recording.data_size() > kPacketsAt)
        throw cli::CannotRun("the index has no entries; run norvanepi-ps repair to rebuild it");
    if (recording.entries() == 0 && options.payloads && !recording.has_data())
        throw cli::CannotRun("no data file, and the index has no entries");
    printer.begin();
    for (std::uint32_t number = 0; number < recording.entries(); ++number) {
        const auto entry = recording.entry(number);
        if (!entry) throw cli::CannotRun(fmt::format("cannot read entry {} of the index", number));
        const std::int64_t instant = reader::instant_of(entry->time);
        if (instant >= options.range.from && instant < options.range.to) printer.print(recording, *entry);
    }
    if (printer.unread_payloads() > 0)
        throw cli::CannotRun(fmt::format("{} of the data file cannot be read",
                                         cli::plural(printer.unread_payloads(), "payload")));
}

}  // namespace

int run_frames(const Options& options) {
    cli::UnusableInputs unusable(kProgram);
    const auto paths = cli::recording_paths({options.recording}, unusable);
    const std::string path = paths.size() == 1 ? paths.front() : options.recording;
    FramesPrinter printer(options);
    try {
        if (paths.size() > 1) throw cli::CannotRun("contains more than one recording");
        if (!paths.empty()) {
            reader::Recording recording(path);
            print_frames(options, recording, printer);
        }
    } catch (const reader::CannotOpen& error) {
        unusable.add(error.path(), error.reason());
    } catch (const cli::CannotRun& error) {
        unusable.add(path, error.what());
    }
    printer.finish(path, unusable);
    return unusable.status(cli::kSuccess);
}

}  // namespace ps_tool
