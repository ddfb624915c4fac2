#include "store/state_elements.h"

#include <algorithm>
#include <array>
#include <boost/uuid/uuid_io.hpp>
#include <optional>
#include <stdexcept>
#include <string_view>

#include "store/state_names.h"
#include "xml/attributes.h"

namespace norvane::state {
namespace {

using tinyxml2::XMLElement;
using tinyxml2::XMLPrinter;

constexpr std::size_t kGuidLength = 36;

void print_record(XMLPrinter& out, const DisconnectRecord& record, bool with_channel) {
    out.OpenElement(kDevice);
    out.PushAttribute(kNumber, static_cast<std::int32_t>(record.channel.device_number));
    out.PushAttribute(kDisconnectTime, platform::seconds_of(record.time));
    if (with_channel) out.PushAttribute(kChannel, static_cast<std::int32_t>(record.channel.channel));
    out.CloseElement();
}

void print_failure(XMLPrinter& out, const OperationState& operation) {
    const auto& [reason, error_code, since] = operation.failure;
    if (since == 0) return;
    out.PushAttribute(kFailedTime, platform::seconds_of(since));
    out.PushAttribute(kReason, kReasons.at(static_cast<std::size_t>(reason)));
    if (reason == FailureReason::kReported) out.PushAttribute(kErrorCode, error_code);
}

void print_operation(XMLPrinter& out, const OperationState& operation, bool with_stage) {
    out.OpenElement(kOperation);
    out.PushAttribute(kDevices, operation.device.devices_id);
    out.PushAttribute(kDevice, operation.device.number);
    out.PushAttribute(kGuid, boost::uuids::to_string(operation.guid).c_str());
    out.PushAttribute(kStartTime, platform::seconds_of(operation.start_time));
    out.PushAttribute(kEndTime, platform::seconds_of(operation.end_time));
    out.PushAttribute(kAttempts, operation.attempts);
    if (with_stage) out.PushAttribute(kStage, kStages.at(static_cast<std::size_t>(operation.stage)));
    print_failure(out, operation);
    out.CloseElement();
}

/// An integer; of at least 1 where a bad record ends the load.
std::optional<std::int32_t> number_attribute(const XMLElement& element, const char* name, BadRecord bad) {
    const auto value = xml::integer_attribute(element, name);
    return bad == BadRecord::kEndsLoad && value && *value < 1 ? std::nullopt : value;
}

/// A record of an older build has no channel number, and belongs to channel 0.
std::uint32_t channel_number(const XMLElement& device) {
    return static_cast<std::uint32_t>(xml::integer_attribute(device, kChannel).value_or(0));
}

/// Returns null, or what is wrong with the device.
const char* load_device(const XMLElement& device, std::uint32_t devices_id, bool with_channel, BadRecord bad,
                        std::vector<DisconnectRecord>& records) {
    const auto number = number_attribute(device, kNumber, bad);
    if (!number) return kBadDeviceNumber;
    const auto seconds = number_attribute(device, kDisconnectTime, bad);
    if (!seconds) return kBadDisconnectTime;
    const ChannelKey channel{.channel = with_channel ? channel_number(device) : 0,
                             .device_number = static_cast<std::uint32_t>(*number),
                             .devices_id = devices_id};
    records.push_back({platform::ticks_of(*seconds), channel});
    return nullptr;
}

/// Accepts only the 36-character form, the one that this module writes.
std::optional<Guid> guid_attribute(const XMLElement& element) {
    const char* text = element.Attribute(kGuid);
    if (text == nullptr || std::string_view(text).size() != kGuidLength) return std::nullopt;
    return xml::parse_guid(text);
}

std::optional<Operation> operation_of(const XMLElement& element) {
    const auto devices_id = xml::integer_attribute(element, kDevices);
    const auto device_number = xml::integer_attribute(element, kDevice);
    const auto guid = guid_attribute(element);
    const auto start = xml::integer_attribute(element, kStartTime);
    const auto end = xml::integer_attribute(element, kEndTime);
    const auto attempts = xml::integer_attribute(element, kAttempts);
    if (!devices_id || !device_number || !start || !end || !attempts || !guid) return std::nullopt;
    return Operation{
        .device = {static_cast<std::uint32_t>(*devices_id), static_cast<std::uint32_t>(*device_number)},
        .guid = *guid,
        .start_time = platform::ticks_of(*start),
        .end_time = platform::ticks_of(*end),
        .attempts = *attempts};
}

/// The index of the attribute's value among the names, or 0.
template <std::size_t Count>
std::size_t named(const XMLElement& element, const char* attribute,
                  const std::array<const char*, Count>& names) {
    const char* text = element.Attribute(attribute);
    const auto found = std::ranges::find(names, std::string_view(text == nullptr ? "" : text));
    return found == names.end() ? 0 : static_cast<std::size_t>(found - names.begin());
}

/// A reason that this build does not know is loaded as unknown.
void load_failure(const XMLElement& element, OperationState& operation) {
    const auto since = xml::integer_attribute(element, kFailedTime);
    if (!since) return;
    operation.failure = {.reason = static_cast<FailureReason>(named(element, kReason, kReasons)),
                         .error_code = xml::integer_attribute(element, kErrorCode).value_or(0),
                         .since = platform::ticks_of(*since)};
}

}  // namespace

// The printer is used directly: the text is the same as that of a document, which would need more memory.

void print_records(XMLPrinter& out, const std::vector<DisconnectRecord>& records, bool with_channels) {
    std::optional<std::uint32_t> open;
    for (const DisconnectRecord& record : records) {
        if (open != record.channel.devices_id) {
            if (open) out.CloseElement();
            open = record.channel.devices_id;
            out.OpenElement(kDevices);
            out.PushAttribute(kId, static_cast<std::int32_t>(record.channel.devices_id));
        }
        print_record(out, record, with_channels);
    }
    if (open) out.CloseElement();
}

void print_operations(XMLPrinter& out, const std::vector<OperationState>& operations, bool with_stages) {
    if (operations.empty()) return;
    out.OpenElement(kOperations);
    for (const OperationState& operation : operations) print_operation(out, operation, with_stages);
    out.CloseElement();
}

std::size_t load_records(const XMLElement& parent, bool with_channels, BadRecord bad,
                         std::vector<DisconnectRecord>& records) {
    std::size_t skipped = 0;
    const auto skip = [&](const char* fault) {
        if (bad == BadRecord::kEndsLoad) throw std::invalid_argument(fault);
        ++skipped;
    };
    for (const XMLElement* devices = parent.FirstChildElement(kDevices); devices != nullptr;
         devices = devices->NextSiblingElement(kDevices)) {
        const auto id = number_attribute(*devices, kId, bad);
        if (!id) {
            skip(kBadPlugInId);
            continue;
        }
        // Every element after the first Device is read as a device, whatever its name.
        for (const XMLElement* device = devices->FirstChildElement(kDevice); device != nullptr;
             device = device->NextSiblingElement()) {
            const char* const fault =
                load_device(*device, static_cast<std::uint32_t>(*id), with_channels, bad, records);
            if (fault != nullptr) skip(fault);
        }
    }
    return skipped;
}

std::size_t load_operations(const XMLElement& parent, bool with_failures,
                            std::vector<OperationState>& operations) {
    const XMLElement* list = parent.FirstChildElement(kOperations);
    if (list == nullptr) return 0;
    std::size_t skipped = 0;
    for (const XMLElement* element = list->FirstChildElement(kOperation); element != nullptr;
         element = element->NextSiblingElement(kOperation)) {
        const auto operation = operation_of(*element);
        if (!operation) {
            ++skipped;
            continue;
        }
        operations.push_back({*operation});
        if (!with_failures) continue;
        operations.back().stage = static_cast<Stage>(named(*element, kStage, kStages));
        load_failure(*element, operations.back());
    }
    return skipped;
}

}  // namespace norvane::state
