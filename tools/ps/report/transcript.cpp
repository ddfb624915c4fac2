#include "tools/ps/report/transcript.h"

#include <fmt/format.h>
#include <tinyxml2.h>

#include <algorithm>
#include <nlohmann/json.hpp>
#include <optional>
#include <stdexcept>
#include <tuple>

#include "convert/clip_path.h"
#include "host/documents/names.h"
#include "plugin/interfaces/records.h"

namespace ps_tool {
namespace {

using tinyxml2::XMLElement;

constexpr const char* kNotFinished = "not finished";
constexpr const char* kNeverRequested = "never requested";

struct Device {
    std::uint32_t devices_id = 0;
    std::uint32_t number = 0;

    auto operator<=>(const Device&) const = default;
};

std::string clip_id_of(const Device& device) {
    StreamRecord request;
    request.identifier = device.devices_id;
    request.deviceNumber = device.number;
    return fmt::format("{:08X}", norvane::clip_id(request));
}

std::int64_t instant(const XMLElement& element, const char* name) {
    return element.Int64Attribute(name, -1) * 1000;
}

std::string text(const XMLElement& element, const char* name) {
    const char* value = element.Attribute(name);
    return value == nullptr ? "" : value;
}

/// Descends by the first child with each name. Returns null if one is missing.
template <typename... Names>
const XMLElement* descend(const XMLElement* element, Names... names) {
    ((element = element == nullptr ? nullptr : element->FirstChildElement(names)), ...);
    return element;
}

class TranscriptReader {
  public:
    void add_line(const nlohmann::json& line) {
        if (line.contains("number") && line.at("direction") == "from module")
            return buffer_released(line.at("number"));
        const std::string document_text = line.value("text", "");
        tinyxml2::XMLDocument document;
        if (document.Parse(document_text.data(), document_text.size()) != tinyxml2::XML_SUCCESS) return;
        if (line.at("direction") == "from module") return from_module(document);
        const XMLElement* devices = descend(document.FirstChildElement(names::kPavo), names::kDevices);
        for (const XMLElement* device = descend(devices, names::kDevice); device != nullptr;
             device = device->NextSiblingElement()) {
            to_module(*device,
                      {static_cast<std::uint32_t>(devices->IntAttribute(names::kId)),
                       static_cast<std::uint32_t>(device->IntAttribute(names::kNumber))},
                      line.value("number", std::int64_t{0}));
        }
    }

    [[nodiscard]] std::vector<LostTime> lost_times() {
        std::vector<LostTime> all;
        for (const auto& [guid, lost] : operations_) all.push_back(lost);
        for (const auto& [device, gaps] : gaps_) {
            for (const Interval& gap : gaps)
                all.push_back({.clip_id = clip_id_of(device), .gap = gap, .failure = kNeverRequested});
        }
        std::ranges::sort(
            all, {}, [](const LostTime& one) { return std::tuple(one.clip_id, one.gap.begin, one.gap.end); });
        return all;
    }

  private:
    struct Clip {
        std::string guid;
        Interval time;
        std::string refusal;  // the reason, or empty
    };

    void to_module(const XMLElement& device, const Device& which, std::int64_t number) {
        if (const XMLElement* one = descend(&device, names::kCodec, names::kEncoder, names::kChannel))
            channel(*one, which);
        if (const XMLElement* storage = device.FirstChildElement(names::kStorage)) status(*storage);
        if (const XMLElement* clip = descend(&device, names::kInput, names::kContext, names::kStorage)) {
            clips_[number] = {
                text(*clip, names::kGuid), {instant(*clip, names::kStart), instant(*clip, names::kStop)}, {}};
        }
    }

    void channel(const XMLElement& channel, const Device& which) {
        const std::tuple key(which, channel.IntAttribute(names::kNumber, -1));
        const std::int64_t at = instant(channel, names::kTime);
        if (channel.IntAttribute(names::kConnected) != 1) {
            lost_since_.emplace(key, at);
        } else if (const auto since = lost_since_.find(key); since != lost_since_.end()) {
            gaps_[which].push_back({since->second, at});
            lost_since_.erase(since);
        }
    }

    void status(const XMLElement& storage) {
        const auto operation = operations_.find(text(storage, names::kGuid));
        if (operation == operations_.end()) return;
        const int status = storage.IntAttribute(names::kRetrievalStatus);
        const XMLElement* context = descend(&storage, names::kInput, names::kContext);
        const bool nothing_there = context != nullptr && context->IntAttribute(names::kRecordings) <= 0;
        if (status == names::kRetrievalDone || nothing_there) operation->second.failure.clear();
        if (status == names::kRetrievalFailed)
            operation->second.failure = fmt::format("error {}", storage.IntAttribute(names::kErrorCode, -1));
    }

    void from_module(const tinyxml2::XMLDocument& document) {
        if (const XMLElement* log = document.FirstChildElement(names::kLogMessage)) {
            if (log->IntAttribute(names::kLevel) == kLogError && log->GetText() != nullptr)
                error(log->GetText());
            return;
        }
        const XMLElement* devices = descend(document.FirstChildElement(names::kPavo), names::kDevices);
        const XMLElement* device = descend(devices, names::kDevice);
        if (const XMLElement* storage = descend(device, names::kStorage)) {
            request(*storage, {static_cast<std::uint32_t>(devices->IntAttribute(names::kId)),
                               device->UnsignedAttribute(names::kNumber)});
        }
    }

    /// The first request of a retrieval belongs to the reported gap with the same end. After a restart there
    /// may be none.
    void request(const XMLElement& storage, const Device& which) {
        const std::string guid = text(storage, names::kGuid);
        if (operations_.contains(guid) || text(storage, names::kCommand) != names::kAskStorageInfo) return;
        const Interval requested{instant(storage, names::kStart), instant(storage, names::kStop)};
        LostTime& lost = operations_[guid];
        lost = {.clip_id = clip_id_of(which), .gap = requested, .failure = kNotFinished};
        Intervals& reported = gaps_[which];
        const auto gap = std::ranges::find_if(reported, [&](const Interval& one) {
            return one.end == requested.end && one.begin >= requested.begin;
        });
        if (gap == reported.end()) return;
        lost.gap = *gap;
        reported.erase(gap);
    }

    /// The module handles messages in order, so an error belongs to the one after the last released message.
    void error(std::string line) {
        const auto clip = clips_.find(handled_ + 1);
        if (clip == clips_.end() || line.starts_with("Error deleting")) return;
        line.resize(std::min(line.size(), line.find(" - ")));
        while (line.ends_with('\n') || line.ends_with('.')) line.pop_back();
        clip->second.refusal = line;
    }

    void buffer_released(std::int64_t number) {
        handled_ = number;
        const auto clip = clips_.extract(number);
        if (clip.empty()) return;
        const auto operation = operations_.find(clip.mapped().guid);
        if (operation == operations_.end()) return;
        LostTime& lost = operation->second;
        if (clip.mapped().refusal.empty()) {
            lost.converted.push_back(clip.mapped().time);
        } else {
            lost.refused.push_back({clip.mapped().time, clip.mapped().refusal});
        }
    }

    std::map<std::tuple<Device, int>, std::int64_t> lost_since_;  // by device and channel
    std::map<Device, Intervals> gaps_;                            // reported, but not yet requested
    std::map<std::string, LostTime> operations_;                  // by GUID
    std::map<std::int64_t, Clip> clips_;                          // by message number
    std::int64_t handled_ = 0;  // number of the last message that the module released
};

/// Removes intervals from the rest and returns the length of what was removed.
std::int64_t remove_from(Intervals& rest, const Intervals& of) {
    const std::int64_t before = total_length(rest);
    rest = difference(rest, of);
    return before - total_length(rest);
}

}  // namespace

std::vector<LostTime> read_transcript(std::istream& lines) {
    TranscriptReader reader;
    std::size_t number = 0;
    for (std::string line; std::getline(lines, line);) {
        ++number;
        try {
            reader.add_line(nlohmann::json::parse(line));
        } catch (const nlohmann::json::exception&) {
            if (lines.eof()) break;  // the line has no end: the recorder was stopped while it wrote it
            throw std::runtime_error(fmt::format("line {} is not a transcript record", number));
        }
    }
    return reader.lost_times();
}

std::map<std::string, Account> account_for(const std::vector<LostTime>& lost,
                                           const std::map<std::string, Intervals>& covered) {
    std::map<std::string, Account> accounts;
    std::map<std::string, std::int64_t> accounted;  // end of the accounted time, so that none counts twice
    for (const LostTime& one : lost) {
        Account& account = accounts[one.clip_id];
        std::int64_t& before = accounted.try_emplace(one.clip_id, one.gap.begin).first->second;
        Intervals rest = merge({{std::max(one.gap.begin, before), one.gap.end}});
        before = std::max(before, one.gap.end);
        account.lost += total_length(rest);
        if (const auto recorded = covered.find(one.clip_id); recorded != covered.end())
            account.recovered += remove_from(rest, recorded->second);
        for (const auto& [clip, reason] : one.refused)
            account.refused[reason] += remove_from(rest, merge({clip}));
        if (const auto missing = remove_from(rest, merge(one.converted)))
            account.failed["recording is missing"] += missing;
        if (one.failure.empty()) {
            account.not_on_camera += total_length(rest);
        } else if (const auto missing = total_length(rest)) {
            account.failed[one.failure] += missing;
        }
    }
    return accounts;
}

}  // namespace ps_tool
