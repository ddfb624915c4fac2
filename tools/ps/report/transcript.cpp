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

constexpr std::int64_t kSecond = 1000;  // ms
constexpr const char* kNotFinished = "not finished";
constexpr const char* kNeverAsked = "never asked for";

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
    return element.Int64Attribute(name, -1) * kSecond;
}

std::string text(const XMLElement& element, const char* name) {
    const char* value = element.Attribute(name);
    return value == nullptr ? "" : value;
}

/// The element at the end of a row of first children, or null.
template <typename... Names>
const XMLElement* descend(const XMLElement* element, Names... names) {
    ((element = element == nullptr ? nullptr : element->FirstChildElement(names)), ...);
    return element;
}

class Story {
  public:
    void take(const nlohmann::json& line);
    [[nodiscard]] std::vector<LostTime> ended();

  private:
    struct Clip {
        std::string guid;
        Interval time;
        std::string why;  // it was refused; empty if not
    };

    void to_module(const XMLElement& device, const Device& which, std::int64_t number);
    void channel(const XMLElement& channel, const Device& which);
    void status(const XMLElement& storage);
    void from_module(const tinyxml2::XMLDocument& document);
    void asked(const XMLElement& storage, const Device& which);
    void error(std::string line);
    void given_back(std::int64_t number);

    std::map<std::tuple<Device, int>, std::int64_t> lost_since_;  // by device and channel
    std::map<Device, Intervals> gaps_;                            // reported; without an operation yet
    std::map<std::string, LostTime> operations_;                  // by GUID
    std::map<std::int64_t, Clip> clips_;                          // by the number of their message
    std::int64_t handled_ = 0;                                    // number of the last message that came back
};

void Story::take(const nlohmann::json& line) {
    if (line.contains("number") && line.at("direction") == "from module")
        return given_back(line.at("number"));
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

void Story::to_module(const XMLElement& device, const Device& which, std::int64_t number) {
    if (const XMLElement* one = descend(&device, names::kCodec, names::kEncoder, names::kChannel))
        channel(*one, which);
    if (const XMLElement* storage = device.FirstChildElement(names::kStorage)) status(*storage);
    if (const XMLElement* clip = descend(&device, names::kInput, names::kContext, names::kStorage)) {
        clips_[number] = {
            text(*clip, names::kGuid), {instant(*clip, names::kStart), instant(*clip, names::kStop)}, {}};
    }
}

void Story::channel(const XMLElement& channel, const Device& which) {
    const std::tuple key(which, channel.IntAttribute(names::kNumber, -1));
    const std::int64_t at = instant(channel, names::kTime);
    if (channel.IntAttribute(names::kConnected) != 1) {
        lost_since_.emplace(key, at);
    } else if (const auto since = lost_since_.find(key); since != lost_since_.end()) {
        gaps_[which].push_back({since->second, at});
        lost_since_.erase(since);
    }
}

void Story::status(const XMLElement& storage) {
    const auto operation = operations_.find(text(storage, names::kGuid));
    if (operation == operations_.end()) return;
    const int status = storage.IntAttribute(names::kRetrievalStatus);
    const XMLElement* context = descend(&storage, names::kInput, names::kContext);
    const bool nothing_there = context != nullptr && context->IntAttribute(names::kRecordings) <= 0;
    if (status == names::kRetrievalDone || nothing_there) operation->second.failure.clear();
    if (status == names::kRetrievalFailed)
        operation->second.failure = fmt::format("error {}", storage.IntAttribute(names::kErrorCode, -1));
}

void Story::from_module(const tinyxml2::XMLDocument& document) {
    if (const XMLElement* log = document.FirstChildElement(names::kLogMessage)) {
        if (log->IntAttribute(names::kLevel) == kLogError && log->GetText() != nullptr) error(log->GetText());
        return;
    }
    const XMLElement* devices = descend(document.FirstChildElement(names::kPavo), names::kDevices);
    const XMLElement* device = descend(devices, names::kDevice);
    if (const XMLElement* storage = descend(device, names::kStorage)) {
        asked(*storage, {static_cast<std::uint32_t>(devices->IntAttribute(names::kId)),
                         device->UnsignedAttribute(names::kNumber)});
    }
}

/// A retrieval's first request: it is for the gap that ends with it, or for one that nobody reported, as
/// after a restart.
void Story::asked(const XMLElement& storage, const Device& which) {
    const std::string guid = text(storage, names::kGuid);
    if (operations_.contains(guid) || text(storage, names::kCommand) != names::kAskStorageInfo) return;
    const Interval asked{instant(storage, names::kStart), instant(storage, names::kStop)};
    LostTime& lost = operations_[guid];
    lost = {.clip_id = clip_id_of(which), .gap = asked, .failure = kNotFinished};
    Intervals& reported = gaps_[which];
    const auto gap = std::ranges::find_if(
        reported, [&](const Interval& one) { return one.end == asked.end && one.begin >= asked.begin; });
    if (gap == reported.end()) return;
    lost.gap = *gap;
    reported.erase(gap);
}

/// Messages are handled in their order: an error belongs to the one behind the last that came back.
void Story::error(std::string line) {
    const auto clip = clips_.find(handled_ + 1);
    if (clip == clips_.end() || line.starts_with("Error deleting")) return;
    line.resize(std::min(line.size(), line.find(" - ")));
    while (line.ends_with('\n') || line.ends_with('.')) line.pop_back();
    clip->second.why = line;
}

void Story::given_back(std::int64_t number) {
    handled_ = number;
    const auto clip = clips_.extract(number);
    if (clip.empty()) return;
    const auto operation = operations_.find(clip.mapped().guid);
    if (operation == operations_.end()) return;
    LostTime& lost = operation->second;
    if (clip.mapped().why.empty()) {
        lost.converted.push_back(clip.mapped().time);
    } else {
        lost.refused.push_back({clip.mapped().time, clip.mapped().why});
    }
}

std::vector<LostTime> Story::ended() {
    std::vector<LostTime> all;
    for (const auto& [guid, lost] : operations_) all.push_back(lost);
    for (const auto& [device, gaps] : gaps_) {
        for (const Interval& gap : gaps)
            all.push_back({.clip_id = clip_id_of(device), .gap = gap, .failure = kNeverAsked});
    }
    std::ranges::sort(
        all, {}, [](const LostTime& one) { return std::tuple(one.clip_id, one.gap.begin, one.gap.end); });
    return all;
}

/// Takes what overlaps out of the rest; its length.
std::int64_t take_out(Intervals& rest, const Intervals& of) {
    const std::int64_t before = length_of(rest);
    rest = without(rest, of);
    return before - length_of(rest);
}

}  // namespace

std::vector<LostTime> read_transcript(std::istream& lines) {
    Story story;
    std::size_t number = 0;
    for (std::string line; std::getline(lines, line);) {
        ++number;
        try {
            story.take(nlohmann::json::parse(line));
        } catch (const nlohmann::json::exception&) {
            throw std::runtime_error(fmt::format("line {} is none of a transcript", number));
        }
    }
    return story.ended();
}

std::map<std::string, Account> account_for(const std::vector<LostTime>& lost,
                                           const std::map<std::string, Intervals>& covered) {
    std::map<std::string, Account> accounts;
    std::map<std::string, std::int64_t> seen;  // up to where: no moment is lost twice
    for (const LostTime& one : lost) {
        Account& account = accounts[one.clip_id];
        std::int64_t& before = seen.try_emplace(one.clip_id, one.gap.begin).first->second;
        Intervals rest = joined({{std::max(one.gap.begin, before), one.gap.end}});
        before = std::max(before, one.gap.end);
        account.lost += length_of(rest);
        if (const auto held = covered.find(one.clip_id); held != covered.end())
            account.recovered += take_out(rest, held->second);
        for (const auto& [clip, why] : one.refused) account.refused[why] += take_out(rest, joined({clip}));
        if (const auto missing = take_out(rest, joined(one.converted)))
            account.failed["recording is missing"] += missing;
        if (one.failure.empty()) {
            account.not_on_camera += length_of(rest);
        } else if (const auto missing = length_of(rest)) {
            account.failed[one.failure] += missing;
        }
    }
    return accounts;
}

}  // namespace ps_tool
