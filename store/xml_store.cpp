#include "store/xml_store.h"

#include <tinyxml2.h>

#include <algorithm>
#include <boost/uuid/uuid_io.hpp>
#include <optional>
#include <stdexcept>
#include <string_view>
#include <tuple>

#include "store/state_names.h"
#include "xml/attributes.h"
#include "xml/parse.h"

namespace norvane {
namespace {

using tinyxml2::XMLElement;
using tinyxml2::XMLPrinter;

constexpr std::size_t kGuidLength = 36;

// Saving. Uses the printer directly: the text is the same as that of a document, which would need more
// memory.

void print_record(XMLPrinter& out, const DisconnectRecord& record, bool with_channel) {
    out.OpenElement(state::kDevice);
    out.PushAttribute(state::kNumber, static_cast<std::int32_t>(record.channel.device_number));
    out.PushAttribute(state::kDisconnectTime, platform::seconds_of(record.time));
    if (with_channel) out.PushAttribute(state::kChannel, static_cast<std::int32_t>(record.channel.channel));
    out.CloseElement();
}

/// Expects the records sorted by devices identifier. Each identifier becomes one Devices element.
void print_records(XMLPrinter& out, const std::vector<DisconnectRecord>& records, bool with_channels) {
    std::optional<std::uint32_t> open;
    for (const DisconnectRecord& record : records) {
        if (open != record.channel.devices_id) {
            if (open) out.CloseElement();
            open = record.channel.devices_id;
            out.OpenElement(state::kDevices);
            out.PushAttribute(state::kId, static_cast<std::int32_t>(record.channel.devices_id));
        }
        print_record(out, record, with_channels);
    }
    if (open) out.CloseElement();
}

void print_failure(XMLPrinter& /*out*/, const Operation& /*operation*/) {}

void print_failure(XMLPrinter& out, const OperationState& operation) {
    const auto& [reason, error_code, since] = operation.failure;
    if (since == 0) return;
    out.PushAttribute(state::kFailedTime, platform::seconds_of(since));
    out.PushAttribute(state::kReason, state::kReasons.at(static_cast<std::size_t>(reason)));
    if (reason == FailureReason::kReported) out.PushAttribute(state::kErrorCode, error_code);
}

/// Record is Operation or OperationState.
template <typename Record>
void print_operation(XMLPrinter& out, const Record& operation) {
    out.OpenElement(state::kOperation);
    out.PushAttribute(state::kDevices, operation.device.devices_id);
    out.PushAttribute(state::kDevice, operation.device.number);
    out.PushAttribute(state::kGuid, boost::uuids::to_string(operation.guid).c_str());
    out.PushAttribute(state::kStartTime, platform::seconds_of(operation.start_time));
    out.PushAttribute(state::kEndTime, platform::seconds_of(operation.end_time));
    out.PushAttribute(state::kAttempts, operation.attempts);
    print_failure(out, operation);
    out.CloseElement();
}

template <typename Record>
void print_operations(XMLPrinter& out, const std::vector<Record>& operations) {
    if (operations.empty()) return;
    out.OpenElement(state::kOperations);
    for (const Record& operation : operations) print_operation(out, operation);
    out.CloseElement();
}

// Loading.

/// An integer of at least 1. Throws with the text `fault` for anything else.
std::int32_t positive(const XMLElement& element, const char* name, const char* fault) {
    const auto value = xml::integer_attribute(element, name);
    if (!value || *value < 1) throw std::invalid_argument(fault);
    return *value;
}

/// A record of an older build has no channel number, and belongs to channel 0.
std::uint32_t channel_number(const XMLElement& device) {
    return static_cast<std::uint32_t>(xml::integer_attribute(device, state::kChannel).value_or(0));
}

void load_device(const XMLElement& device, std::uint32_t devices_id, bool with_channel,
                 std::vector<DisconnectRecord>& records) {
    const auto number = positive(device, state::kNumber, state::kBadDeviceNumber);
    const auto seconds = positive(device, state::kDisconnectTime, state::kBadDisconnectTime);
    const ChannelKey channel{.channel = with_channel ? channel_number(device) : 0,
                             .device_number = static_cast<std::uint32_t>(number),
                             .devices_id = devices_id};
    records.push_back({platform::ticks_of(seconds), channel});
}

void load_records(const XMLElement& pavo, bool with_channels, std::vector<DisconnectRecord>& records) {
    for (const XMLElement* devices = pavo.FirstChildElement(state::kDevices); devices != nullptr;
         devices = devices->NextSiblingElement(state::kDevices)) {
        const auto id = static_cast<std::uint32_t>(positive(*devices, state::kId, state::kBadPlugInId));
        // Every element after the first Device is read as a device, whatever its name.
        for (const XMLElement* device = devices->FirstChildElement(state::kDevice); device != nullptr;
             device = device->NextSiblingElement()) {
            load_device(*device, id, with_channels, records);
        }
    }
}

/// Accepts only the 36-character form, the one that this module writes.
std::optional<Guid> guid_attribute(const XMLElement& element) {
    const char* text = element.Attribute(state::kGuid);
    if (text == nullptr || std::string_view(text).size() != kGuidLength) return std::nullopt;
    return xml::parse_guid(text);
}

std::optional<Operation> operation_of(const XMLElement& element) {
    const auto devices_id = xml::integer_attribute(element, state::kDevices);
    const auto device_number = xml::integer_attribute(element, state::kDevice);
    const auto guid = guid_attribute(element);
    const auto start = xml::integer_attribute(element, state::kStartTime);
    const auto end = xml::integer_attribute(element, state::kEndTime);
    const auto attempts = xml::integer_attribute(element, state::kAttempts);
    if (!devices_id || !device_number || !start || !end || !attempts || !guid) return std::nullopt;
    return Operation{
        .device = {static_cast<std::uint32_t>(*devices_id), static_cast<std::uint32_t>(*device_number)},
        .guid = *guid,
        .start_time = platform::ticks_of(*start),
        .end_time = platform::ticks_of(*end),
        .attempts = *attempts};
}

void load_failure(const XMLElement& /*element*/, Operation& /*operation*/) {}

/// A reason that this build does not know is loaded as unknown.
void load_failure(const XMLElement& element, OperationState& operation) {
    const auto since = xml::integer_attribute(element, state::kFailedTime);
    if (!since) return;
    const char* text = element.Attribute(state::kReason);
    const auto found = std::ranges::find(state::kReasons, std::string_view(text == nullptr ? "" : text));
    const auto index = found == state::kReasons.end() ? 0 : found - state::kReasons.begin();
    operation.failure = {.reason = static_cast<FailureReason>(index),
                         .error_code = xml::integer_attribute(element, state::kErrorCode).value_or(0),
                         .since = platform::ticks_of(*since)};
}

/// Record is Operation or OperationState.
template <typename Record>
void load_operations(const XMLElement& pavo, bool with_failures, std::vector<Record>& operations) {
    const XMLElement* list = pavo.FirstChildElement(state::kOperations);
    if (list == nullptr) return;
    for (const XMLElement* element = list->FirstChildElement(state::kOperation); element != nullptr;
         element = element->NextSiblingElement(state::kOperation)) {
        const auto operation = operation_of(*element);
        if (!operation) continue;
        operations.push_back({*operation});
        if (with_failures) load_failure(*element, operations.back());
    }
}

}  // namespace

template <typename Record>
void CXmlStore::save(std::vector<DisconnectRecord>& records, const std::vector<Record>& operations) {
    std::ranges::stable_sort(records, {}, [](const DisconnectRecord& record) {
        return std::tuple(record.channel.devices_id, record.channel.device_number);
    });
    XMLPrinter out;
    out.PushDeclaration(state::kDeclaration);
    out.OpenElement(state::kPavo);
    print_records(out, records, channels_);
    print_operations(out, operations);
    out.CloseElement();
    // The result is ignored: a state that cannot be saved must not stop the host's shutdown.
    files_.replace_whole(state::kFileName, out.CStr());
}

template <typename Record>
void CXmlStore::load(std::vector<DisconnectRecord>& records, std::vector<Record>& operations) {
    const auto text = files_.read_whole(state::kFileName);
    tinyxml2::XMLDocument document;
    if (!text || !xml::parse(document, *text)) throw std::invalid_argument(state::kUnreadable);
    const XMLElement* pavo = document.FirstChildElement(state::kPavo);
    if (pavo == nullptr) return;
    load_records(*pavo, channels_, records);
    load_operations(*pavo, failures_, operations);
}

void CXmlStore::SaveState(std::vector<DisconnectRecord>& records, const std::vector<Operation>& operations) {
    save(records, operations);
}

void CXmlStore::LoadState(std::vector<DisconnectRecord>& records, std::vector<Operation>& operations) {
    load(records, operations);
}

void CXmlStore::SaveEngineState(EngineState& state) {
    save(state.gaps, state.operations);
}

void CXmlStore::LoadEngineState(EngineState& state) {
    load(state.gaps, state.operations);
}

}  // namespace norvane
