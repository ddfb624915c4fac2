#include "store/xml_store.h"

#include <tinyxml2.h>

#include <algorithm>
#include <array>
#include <boost/uuid/uuid_io.hpp>
#include <optional>
#include <stdexcept>
#include <string_view>
#include <tuple>
#include <utility>

#include "platform/integer_text.h"
#include "store/saved_text.h"
#include "store/state_names.h"
#include "xml/attribute_limit.h"

namespace norvane {
namespace {

using tinyxml2::XMLElement;
using tinyxml2::XMLPrinter;

// Saving. The printer is driven directly: the same text as from a document, without holding one in memory.

void print_record(XMLPrinter& out, const DisconnectRecord& record) {
    out.OpenElement(state::kDevice);
    out.PushAttribute(state::kNumber, static_cast<std::int32_t>(record.channel.device_number));
    out.PushAttribute(state::kDisconnectTime, platform::seconds_of(record.time));
    out.CloseElement();
}

/// Expects the records in order of their devices identifiers: one Devices element for each.
void print_records(XMLPrinter& out, const std::vector<DisconnectRecord>& records) {
    std::optional<std::uint32_t> open;
    for (const DisconnectRecord& record : records) {
        if (open != record.channel.devices_id) {
            if (open) out.CloseElement();
            open = record.channel.devices_id;
            out.OpenElement(state::kDevices);
            out.PushAttribute(state::kId, static_cast<std::int32_t>(record.channel.devices_id));
        }
        print_record(out, record);
    }
    if (open) out.CloseElement();
}

void print_operation(XMLPrinter& out, const Operation& operation) {
    out.OpenElement(state::kOperation);
    out.PushAttribute(state::kDevices, operation.device.devices_id);
    out.PushAttribute(state::kDevice, operation.device.number);
    out.PushAttribute(state::kGuid, boost::uuids::to_string(operation.guid).c_str());
    out.PushAttribute(state::kStartTime, platform::seconds_of(operation.start_time));
    out.PushAttribute(state::kEndTime, platform::seconds_of(operation.end_time));
    out.PushAttribute(state::kAttempts, operation.attempts);
    out.CloseElement();
}

void print_operations(XMLPrinter& out, const std::vector<Operation>& operations) {
    if (operations.empty()) return;
    out.OpenElement(state::kOperations);
    for (const Operation& operation : operations) print_operation(out, operation);
    out.CloseElement();
}

// Loading.

/// Nothing for a missing text and for one that is no integer.
std::optional<std::int32_t> integer(const char* text) {
    if (text == nullptr) return std::nullopt;
    if (const auto plain = platform::plain_integer(text)) return plain;
    std::int32_t value = 0;
    if (!tinyxml2::XMLUtil::ToInt(text, &value)) return std::nullopt;
    return value;
}

/// An integer of at least 1, or the fault with the given text.
std::int32_t positive(const XMLElement& element, const char* name, const char* fault) {
    const auto value = integer(element.Attribute(name));
    if (!value || *value < 1) throw std::invalid_argument(fault);
    return *value;
}

void load_device(const XMLElement& device, std::uint32_t devices_id, std::vector<DisconnectRecord>& records) {
    const auto number = positive(device, state::kNumber, state::kBadDeviceNumber);
    const auto seconds = positive(device, state::kDisconnectTime, state::kBadDisconnectTime);
    const ChannelKey channel{.device_number = static_cast<std::uint32_t>(number), .devices_id = devices_id};
    records.push_back({platform::ticks_of(seconds), channel});
}

void load_records(const XMLElement& pavo, std::vector<DisconnectRecord>& records) {
    for (const XMLElement* devices = pavo.FirstChildElement(state::kDevices); devices != nullptr;
         devices = devices->NextSiblingElement(state::kDevices)) {
        const auto id = static_cast<std::uint32_t>(positive(*devices, state::kId, state::kBadPlugInId));
        // Whatever follows a Device inside Devices is read as a device too.
        for (const XMLElement* device = devices->FirstChildElement(state::kDevice); device != nullptr;
             device = device->NextSiblingElement()) {
            load_device(*device, id, records);
        }
    }
}

/// The first attribute of each name, null for a missing one. They stand in the order of the names unless
/// somebody else wrote them, so that one look at each is enough.
template <std::size_t Count>
std::array<const char*, Count> attributes(const XMLElement& element,
                                          const std::array<const char*, Count>& names) {
    std::array<const char*, Count> texts{};
    std::size_t next = 0;
    for (const auto* attribute = element.FirstAttribute(); attribute != nullptr;
         attribute = attribute->Next()) {
        for (std::size_t tried = 0; tried < Count; ++tried) {
            const std::size_t i = std::exchange(next, (next + 1) % Count);
            if (std::string_view(attribute->Name()) != names[i]) continue;
            if (texts[i] == nullptr) texts[i] = attribute->Value();
            break;
        }
    }
    return texts;
}

void load_operation(const XMLElement& element, std::vector<Operation>& operations) {
    const auto texts = attributes(element, std::array{state::kDevices, state::kDevice, state::kGuid,
                                                      state::kStartTime, state::kEndTime, state::kAttempts});
    const auto devices_id = integer(texts[0]);
    const auto device_number = integer(texts[1]);
    const auto guid = parse_guid(texts[2] == nullptr ? "" : texts[2]);
    const auto start = integer(texts[3]);
    const auto end = integer(texts[4]);
    const auto attempts = integer(texts[5]);
    if (!devices_id || !device_number || !start || !end || !attempts || !guid) return;
    operations.push_back(
        {.device = {static_cast<std::uint32_t>(*devices_id), static_cast<std::uint32_t>(*device_number)},
         .guid = *guid,
         .start_time = platform::ticks_of(*start),
         .end_time = platform::ticks_of(*end),
         .attempts = *attempts});
}

void load_operations(const XMLElement& pavo, std::vector<Operation>& operations) {
    const XMLElement* list = pavo.FirstChildElement(state::kOperations);
    if (list == nullptr) return;
    for (const XMLElement* operation = list->FirstChildElement(state::kOperation); operation != nullptr;
         operation = operation->NextSiblingElement(state::kOperation)) {
        load_operation(*operation, operations);
    }
}

/// Any state file, however it is laid out.
void load_document(const std::string& text, std::vector<DisconnectRecord>& records,
                   std::vector<Operation>& operations) {
    tinyxml2::XMLDocument document;
    if (!xml::within_attribute_limit(text) ||
        document.Parse(text.data(), text.size()) != tinyxml2::XML_SUCCESS) {
        throw std::invalid_argument(state::kUnreadable);
    }
    const XMLElement* pavo = document.FirstChildElement(state::kPavo);
    if (pavo == nullptr) return;
    load_records(*pavo, records);
    load_operations(*pavo, operations);
}

}  // namespace

void CXmlStore::SaveState(std::vector<DisconnectRecord>& records, const std::vector<Operation>& operations) {
    std::ranges::stable_sort(records, {}, [](const DisconnectRecord& record) {
        return std::tuple(record.channel.devices_id, record.channel.device_number);
    });
    XMLPrinter out;
    out.PushDeclaration(state::kDeclaration);
    out.OpenElement(state::kPavo);
    print_records(out, records);
    print_operations(out, operations);
    out.CloseElement();
    // The outcome is nobody's business here: a state that cannot be saved must not stop the host's shutdown.
    files_.replace_whole(state::kFileName, out.CStr());
}

void CXmlStore::LoadState(std::vector<DisconnectRecord>& records, std::vector<Operation>& operations) {
    const auto content = files_.read_whole(state::kFileName);
    if (!content) throw std::invalid_argument(state::kUnreadable);
    if (const auto saved = read_saved(*content)) {
        records.insert(records.end(), saved->records.begin(), saved->records.end());
        operations.insert(operations.end(), saved->operations.begin(), saved->operations.end());
    } else {
        load_document(*content, records, operations);
    }
}

}  // namespace norvane
