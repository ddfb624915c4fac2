#include "tools/ps/report/loss_tracker.h"

#include <fmt/format.h>
#include <tinyxml2.h>

#include <algorithm>
#include <array>
#include <iterator>
#include <limits>
#include <utility>

#include "convert/clip_path.h"
#include "host/documents/names.h"
#include "host/documents/printable.h"
#include "host/documents/quoted_path.h"
#include "platform/text.h"
#include "plugin/interfaces/stream_record.h"
#include "xml/attributes.h"
#include "xml/descend.h"
#include "xml/parse.h"

namespace ps_tool {
namespace {

using tinyxml2::XMLElement;
using xml::integer_attribute;

constexpr const char* kNotFinished = "not finished";
constexpr const char* kNeverRequested = "never requested";

/// Of a loss that is known from a log text, which does not name the channel.
constexpr std::int32_t kSomeChannel = std::numeric_limits<std::int32_t>::min();

std::string clip_id_of(const norvane::DeviceKey& device) {
    StreamRecord request;
    request.identifier = device.devices_id;
    request.deviceNumber = device.number;
    return fmt::format("{:08X}", norvane::clip_id(request));
}

/// In ms; 0 if it is missing or not after 1970.
std::int64_t instant(const XMLElement& element, const char* name) {
    return std::max(integer_attribute(element, name).value_or(0), 0) * kMsPerSecond;
}

Interval interval(const XMLElement& element) {
    return {instant(element, names::kStart), instant(element, names::kStop)};
}

/// The module writes the numbers of a device unsigned, hosts also signed.
std::uint32_t number(const XMLElement& element, const char* name) {
    return static_cast<std::uint32_t>(element.Int64Attribute(name));
}

std::string guid_of(const XMLElement& element) {
    const char* const guid = element.Attribute(names::kGuid);
    return guid == nullptr ? "" : canonical_guid(guid);
}

/// A retrieval that the log does not name yet. Differs from every GUID.
std::string unnamed_request(const norvane::DeviceKey& device, std::int64_t end) {
    return fmt::format("{} {} {}", device.devices_id, device.number, end);
}

bool is_unnamed(const std::string& guid) {
    return guid.find(' ') != std::string::npos;
}

std::string unescaped(std::string_view text) {
    using Entity = std::pair<std::string_view, char>;
    constexpr std::array<Entity, 5> kEntities = {
        Entity{"&lt;", '<'}, {"&gt;", '>'}, {"&quot;", '"'}, {"&apos;", '\''}, {"&amp;", '&'}};
    std::string plain;
    while (!text.empty()) {
        const auto entity = std::ranges::find_if(
            kEntities, [text](const Entity& one) { return text.starts_with(one.first); });
        plain += entity == kEntities.end() ? text.front() : entity->second;
        text.remove_prefix(entity == kEntities.end() ? 1 : entity->first.size());
    }
    return plain;
}

/// The text of a log message. Cut out, because it may make the document invalid (docs/messages.md).
std::string log_text_in(std::string_view document) {
    document.remove_prefix(std::min(document.size(), document.find('>') + 1));
    return unescaped(document.substr(0, document.find('<')));
}

bool nothing_on_camera(const XMLElement& storage) {
    const XMLElement* context = xml::descend(&storage, names::kInput, names::kContext);
    return context != nullptr && integer_attribute(*context, names::kNumber) == 0 &&
           integer_attribute(*context, names::kRecordings).value_or(0) <= 0;
}

}  // namespace

bool LossTracker::add_document(std::string_view document) {
    const std::string_view log_message =
        document.substr(std::min(document.size(), document.find("<log_msg")));
    if (!log_message.empty()) {
        (void)add_text(log_text_in(log_message));
        return true;
    }
    tinyxml2::XMLDocument parsed;
    if (!xml::parse(parsed, document)) return false;
    const XMLElement* pavo = parsed.FirstChildElement(names::kPavo);
    if (pavo == nullptr) return false;
    if (const XMLElement* devices = pavo->FirstChildElement(names::kDevices)) read_devices(*devices);
    const XMLElement* status = pavo->FirstChildElement(names::kStatusReport);
    if (status != nullptr && integer_attribute(*status, names::kStatus) == NORVANEPI_STATUS_ALL_DONE)
        all_done_ = number_;
    return true;
}

bool LossTracker::add_text(std::string_view line) {
    using Kind = LogText::Kind;
    const auto text = parse_log_text(line);
    if (!text) return false;
    switch (text->kind) {
        case Kind::kCreated:
            if (text->device) create(*text->device);
            break;
        case Kind::kInterrupted:
            if (text->device) interrupt(*text->device);
            break;
        case Kind::kRequested:
            if (text->device) request("", *text->device, text->requested);
            break;
        case Kind::kReserved:
            (void)find_operation(text->guid, text->device);
            break;
        case Kind::kDone:
            finish(find_operation(text->guid, text->device));
            break;
        case Kind::kFailed:
            fail(find_operation(text->guid, text->device), text->reason);
            break;
        case Kind::kGivenUp:
            if (Operation* const one = find_operation(text->guid, text->device);
                one != nullptr && one->lost.rest != Outcome::kFailed) {
                fail(one, text->reason);
            }
            break;
        case Kind::kAllDone:
            all_done_ = number_;
            break;
        case Kind::kClipOpened:
            open_clip(text->clip);
            break;
        case Kind::kClipRefused:
            refuse_clip(text->clip, text->reason);
            break;
        case Kind::kOther:
            break;
    }
    return true;
}

std::vector<LostTime> LossTracker::lost_times() const {
    std::vector<LostTime> all = removed_;
    const auto outcome = [this](Outcome rest, std::uint64_t number) {
        return rest == Outcome::kOpen && number <= all_done_ ? Outcome::kFailed : rest;
    };
    for (const auto& [guid, operation] : operations_) {
        LostTime& lost = all.emplace_back(operation.lost);
        if (!operation.unplaced_refusal.empty() && lost.converted.empty() && lost.refused.empty())
            lost.refused.push_back({lost.gap, operation.unplaced_refusal});
        lost.rest = outcome(operation.lost.rest, operation.number);
    }
    for (const auto& [device, returns] : returns_) {
        for (const auto& [end, one] : returns) {
            if (!one.was_lost || one.begin.time == 0) continue;
            all.push_back({.clip_id = clip_id_of(device),
                           .gap = {one.begin.time, one.end.time},
                           .rest = outcome(Outcome::kOpen, one.number),
                           .reason = kNeverRequested});
        }
    }
    for (const auto& [channel, state] : channels_) {
        if (!state.lost_since || state.lost_since->time == 0) continue;
        all.push_back({.clip_id = clip_id_of(channel.first),
                       .gap = {state.lost_since->time, now()},
                       .rest = Outcome::kOpen,
                       .reason = "still lost"});
    }
    std::erase_if(all, [](const LostTime& one) { return one.gap.length() <= 0; });
    return all;
}

/// Reads like the module (host/dispatch.cpp), which ignores the rest after a removed device. Requests of the
/// module have the same form.
void LossTracker::read_devices(const XMLElement& devices) {
    for (const XMLElement* element = devices.FirstChildElement(names::kDevice); element != nullptr;
         element = element->NextSiblingElement()) {
        if (!read_device(*element, {number(devices, names::kId), number(*element, names::kNumber)})) return;
    }
}

bool LossTracker::read_device(const XMLElement& element, const Device& device) {
    if (element.Attribute(names::kIpAddress, "") != nullptr) {
        remove(device);
        return false;
    }
    if (const XMLElement* encoder = xml::descend(&element, names::kCodec, names::kEncoder))
        read_channel(*encoder, device);
    if (const XMLElement* storage = element.FirstChildElement(names::kStorage))
        read_storage(*storage, device);
    if (const XMLElement* clip = xml::descend(&element, names::kInput, names::kContext, names::kStorage))
        read_clip(*clip);
    return true;
}

void LossTracker::read_channel(const XMLElement& encoder, const Device& device) {
    const XMLElement* channel = encoder.FirstChildElement(names::kChannel);
    if (channel == nullptr || integer_attribute(encoder, names::kNumber) != 0) return;
    const auto connected = integer_attribute(*channel, names::kConnected);
    if (!connected) return;
    ChannelState& state = channels_[{device, integer_attribute(*channel, names::kNumber).value_or(-1)}];
    const std::int64_t reported = instant(*channel, names::kTime);
    if (*connected == 1)
        regain(device, state, reported);
    else
        lose(state, reported);
}

/// An answer may repeat the attributes of its request.
void LossTracker::read_storage(const XMLElement& storage, const Device& device) {
    const std::string guid = guid_of(storage);
    if (guid.empty()) return;
    if (storage.Attribute(names::kCommand, names::kAskStorageInfo) != nullptr ||
        (storage.Attribute(names::kCommand, names::kAskRecordings) != nullptr && !operations_.contains(guid)))
        request(guid, device, interval(storage));
    const auto status = integer_attribute(storage, names::kRetrievalStatus);
    Operation* const operation = find_operation(guid, device);
    if (status == names::kRetrievalDone || nothing_on_camera(storage)) finish(operation);
    if (status == names::kRetrievalFailed)
        fail(operation, fmt::format("error {}", integer_attribute(storage, names::kErrorCode).value_or(-1)));
}

/// A clip counts as converted until a log text refuses it.
void LossTracker::read_clip(const XMLElement& storage) {
    const std::string guid = guid_of(storage);
    const auto operation = operations_.find(guid);
    const Interval time = interval(storage);
    const char* const file = storage.Attribute(names::kFileName);
    if (operation == operations_.end() || file == nullptr || time.begin == 0 ||
        integer_attribute(storage, names::kRetrievalStatus) != names::kRetrievalDone)
        return;
    LostTime& lost = operation->second.lost;
    lost.converted.push_back(time);
    if (operation->second.begins_with_clips) lost.gap.begin = std::min(lost.gap.begin, time.begin);
    latest_clip_ = documents::printable(platform::narrow_text(documents::unquoted(file)));
    if (refused_clip_ == latest_clip_) refused_clip_.clear();
    clips_[latest_clip_] = {guid, time, false};
}

/// Ignores a report that was logged before.
void LossTracker::lose(ChannelState& state, std::int64_t reported) {
    if (state.lost_since || (reported != 0 && reported == state.last_loss)) return;
    state.lost_since = instant_of(reported);
    if (reported != 0) state.last_loss = reported;
}

void LossTracker::regain(const Device& device, ChannelState& state, std::int64_t reported) {
    const bool logged_before = reported != 0 && reported == state.last_seen &&
                               (!state.lost_since || state.lost_since->time > reported);
    if (logged_before) return;
    const Instant end = instant_of(reported);
    if (state.lost_since) {
        add_return(device, reported, {*state.lost_since, end, true, ++number_});
    } else if (reported != 0 && state.last_seen != 0) {
        add_return(device, reported, {{state.last_seen, true}, end, false, ++number_});
    }
    state.lost_since.reset();
    if (reported != 0) state.last_seen = reported;
}

/// The request may have been logged first, or the log may repeat the report of a return.
void LossTracker::add_return(const Device& device, std::int64_t reported, const Return& one) {
    const auto guid = guids_by_end_.find({device, reported});
    Operation* const requested = guid == guids_by_end_.end() ? nullptr : &operations_[guid->second];
    if (requested != nullptr && requested->reported && one.begin.time >= requested->lost.gap.begin) return;
    returns_[device].emplace(reported, one);
    if (requested != nullptr && !requested->reported) set_gap(*requested, device);
}

void LossTracker::remove(const Device& device) {
    for (auto state = channels_.lower_bound({device, kSomeChannel});
         state != channels_.end() && state->first.first == device; ++state) {
        auto& since = state->second.lost_since;
        if (since && since->time != 0)
            removed_.push_back({.clip_id = clip_id_of(device),
                                .gap = {since->time, now()},
                                .rest = Outcome::kFailed,
                                .reason = "device removed"});
        since.reset();
    }
}

void LossTracker::create(const Device& device) {
    const auto state = channels_.find({device, kSomeChannel});
    if (state != channels_.end() && state->second.lost_since) regain(device, state->second, 0);
}

/// Reports of the device's channels are more precise, if there are any.
void LossTracker::interrupt(const Device& device) {
    const auto state = channels_.lower_bound({device, kSomeChannel + 1});
    if (state == channels_.end() || state->first.first != device) lose(channels_[{device, kSomeChannel}], 0);
}

/// A log text does not name the operation; `guid` is then empty. The first request determines the gap.
void LossTracker::request(std::string guid, const Device& device, const Interval& requested) {
    std::string& same_end = guids_by_end_[{device, requested.end}];
    if (guid.empty()) guid = same_end.empty() ? unnamed_request(device, requested.end) : same_end;
    name(std::string(same_end), guid, device);
    same_end = latest_guids_[device] = current_guid_ = guid;
    Operation& operation = operations_[guid];
    if (operation.done) return;
    if (operation.number == 0) {
        operation.lost.clip_id = clip_id_of(device);
        operation.requested = requested;
        set_gap(operation, device);
    }
    operation.number = ++number_;
    operation.lost.rest = Outcome::kOpen;
    operation.lost.reason = kNotFinished;
}

/// The operation that was requested with an empty GUID.
void LossTracker::name(const std::string& unnamed, const std::string& guid, const Device& device) {
    if (!is_unnamed(unnamed) || unnamed == guid || operations_.contains(guid)) return;
    auto operation = operations_.extract(unnamed);
    guids_by_end_[{device, operation.mapped().requested.end}] = guid;
    for (std::string* const other : {&latest_guids_[device], &current_guid_}) {
        if (*other == unnamed) *other = guid;
    }
    operation.key() = guid;
    operations_.insert(std::move(operation));
}

/// A gap begins when its loss was reported. Without a report, which is the case after a restart, it begins at
/// the time that the module saved, but not before the channel was last connected: the module's clock may
/// differ from the recordings.
void LossTracker::set_gap(Operation& operation, const Device& device) {
    Interval& gap = operation.lost.gap;
    gap = operation.requested;
    const auto found = take_return(device, gap);
    operation.reported = found && found->begin.reported;
    if (operation.reported)
        gap.begin = found->was_lost ? found->begin.time : std::max(gap.begin, found->begin.time);
    else if (log_time_ && gap.begin <= *log_time_ && gap.end > *log_time_ + kDay)
        gap.begin = 0;  // the module's clock is that of the log, which is far from that of the recordings
    else if (found && gap.begin == 0)
        gap.begin = found->begin.time;
    if (gap.end == 0) gap.end = found ? found->end.time : now();
    operation.begins_with_clips = gap.begin == 0;
    if (gap.begin == 0) gap.begin = gap.end;
}

/// The return with the requested end, or else one whose time was not reported. Prefers a reported loss.
std::optional<LossTracker::Return> LossTracker::take_return(const Device& device, const Interval& requested) {
    Returns& returns = returns_[device];
    for (const std::int64_t end : {requested.end, std::int64_t{0}}) {
        const auto [first, last] = returns.equal_range(end);
        auto found = std::find_if(first, last, [&](const auto& one) {
            return one.second.was_lost &&
                   (!one.second.begin.reported || one.second.begin.time >= requested.begin);
        });
        if (found == last)
            found = std::find_if(first, last, [](const auto& one) { return !one.second.was_lost; });
        if (found == last) continue;
        const Return taken = found->second;
        returns.erase(found);
        return taken;
    }
    return std::nullopt;
}

/// A text may be the first one that names the device's latest request.
LossTracker::Operation* LossTracker::find_operation(const std::string& guid,
                                                    const std::optional<Device>& device) {
    if (guid.empty()) return nullptr;
    if (device) name(std::string(latest_guids_[*device]), guid, *device);
    const auto found = operations_.find(guid);
    return found == operations_.end() ? nullptr : &found->second;
}

void LossTracker::finish(Operation* operation) {
    if (operation == nullptr) return;
    operation->done = true;
    operation->lost.rest = Outcome::kNotOnCamera;
    operation->lost.reason.clear();
}

void LossTracker::fail(Operation* operation, const std::string& reason) {
    if (operation == nullptr || operation->done) return;
    operation->lost.rest = Outcome::kFailed;
    operation->lost.reason = reason;
}

void LossTracker::open_clip(const std::string& path) {
    converted_clip_ = documents::printable(path);
    refused_clip_.clear();
}

/// Texts that do not name a clip are about the one that the module converts. Only the first one counts.
void LossTracker::refuse_clip(const std::string& path, const std::string& reason) {
    if (!path.empty()) converted_clip_ = documents::printable(path);
    const std::string& refused = converted_clip_.empty() ? latest_clip_ : converted_clip_;
    if (!refused.empty() && refused == refused_clip_) return;
    refused_clip_ = refused;
    const auto clip = clips_.find(refused);
    if (clip == clips_.end()) {
        const auto operation = operations_.find(current_guid_);
        if (operation != operations_.end()) operation->second.unplaced_refusal = reason;
    } else if (!std::exchange(clip->second.refused, true)) {
        LostTime& lost = operations_[clip->second.guid].lost;
        const auto newest =
            std::ranges::find(lost.converted.rbegin(), lost.converted.rend(), clip->second.time);
        if (newest != lost.converted.rend()) lost.converted.erase(std::next(newest).base());
        lost.refused.push_back({clip->second.time, reason});
    }
}

/// The present time of the recordings: in a log with times, that of the latest report and what has passed
/// since.
std::int64_t LossTracker::now() const {
    return log_time_ ? *log_time_ - clock_difference_ : last_reported_;
}

LossTracker::Instant LossTracker::instant_of(std::int64_t reported) {
    if (reported == 0) return {now(), false};
    if (log_time_) clock_difference_ = *log_time_ - reported;
    last_reported_ = std::max(last_reported_, reported);
    return {reported, true};
}

}  // namespace ps_tool
