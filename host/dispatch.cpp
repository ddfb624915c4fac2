#include "host/dispatch.h"

#include <algorithm>
#include <exception>
#include <string>

#include "host/documents/names.h"
#include "host/documents/quoted_path.h"
#include "xml/attributes.h"
#include "xml/descend.h"

namespace {

using norvane::Guid;
using norvane::IEventSink;
using tinyxml2::XMLElement;
using xml::integer_attribute;

/// A GUID attribute cannot be parsed. Caught in DispatchHostMessage.
class UnreadableGuid : public std::exception {};

Guid guid_of(const char* text) {
    const auto guid = xml::parse_guid(text);
    if (!guid) throw UnreadableGuid();
    return *guid;
}

platform::Ticks ticks(const XMLElement& element, const char* name) {
    return platform::ticks_of(integer_attribute(element, name).value_or(-1));
}

void channel_change(const XMLElement& encoder, const norvane::DeviceKey& device, IEventSink& sink) {
    if (integer_attribute(encoder, names::kNumber) != 0) return;
    const XMLElement* channel = encoder.FirstChildElement(names::kChannel);
    if (channel == nullptr) return;
    const auto connected = integer_attribute(*channel, names::kConnected);
    if (!connected) return;
    const norvane::ChannelKey key{
        .channel = static_cast<std::uint32_t>(integer_attribute(*channel, names::kNumber).value_or(-1)),
        .device_number = device.number,
        .devices_id = device.devices_id};
    sink.OnChannelState(&key, *connected == 1 ? norvane::kConnected : norvane::kDisconnected, nullptr,
                        ticks(*channel, names::kTime));
}

/// Whole gigabytes to reserve: twice the given size, rounded to the nearest, at least 1. Wraps for sizes that
/// no camera reports.
std::uint32_t gigabytes_for(std::int32_t megabytes) {
    const std::uint32_t doubled = 2 * static_cast<std::uint32_t>(megabytes) + 512;
    return doubled <= 1024 ? 1 : doubled / 1024;
}

std::string no_integer(const char* name) {
    return std::string(name) + " is missing or not an integer";
}

/// False if the context is about something else.
bool storage_information(const XMLElement& context, const Guid& guid, IEventSink& sink) {
    if (integer_attribute(context, names::kNumber) != 0) return false;
    const auto recordings = integer_attribute(context, names::kRecordings);
    if (!recordings && sink.OnUnusableAnswer(guid, no_integer(names::kRecordings))) return true;
    if (recordings.value_or(0) <= 0) {
        sink.OnRetrievalDone(guid);  // nothing to fetch
        return true;
    }
    for (const char* name : {names::kTotalSize, names::kOldestStart, names::kNewestEnd}) {
        if (integer_attribute(context, name)) continue;
        sink.OnUnusableAnswer(guid, no_integer(name));
        return true;
    }
    sink.OnStorageInfo(guid, gigabytes_for(*integer_attribute(context, names::kTotalSize)));
    return true;
}

void retrieval_status(const XMLElement& storage, IEventSink& sink) {
    const char* guid_text = storage.Attribute(names::kGuid);
    if (guid_text == nullptr) return;
    const Guid guid = guid_of(guid_text);
    const auto status = integer_attribute(storage, names::kRetrievalStatus);
    if (status == names::kRetrievalDone) sink.OnRetrievalDone(guid);
    if (status == names::kRetrievalFailed) {
        sink.OnRetrievalFailed(guid, integer_attribute(storage, names::kErrorCode).value_or(-1),
                               ticks(storage, names::kFailedClipStartTime));
    }
    // A report of another status needs no context, and a request is not an answer.
    bool understood = status || storage.Attribute(names::kCommand) != nullptr;
    for (const XMLElement* input = storage.FirstChildElement(names::kInput); input != nullptr;
         input = input->NextSiblingElement(names::kInput)) {
        for (const XMLElement* context = input->FirstChildElement(names::kContext); context != nullptr;
             context = context->NextSiblingElement(names::kContext)) {
            understood = storage_information(*context, guid, sink) || understood;
        }
    }
    if (!understood) {
        sink.OnUnusableAnswer(guid, std::string("no ") + names::kRetrievalStatus + ", and no " +
                                        names::kContext + " with " + names::kNumber + " 0");
    }
}

/// An instant; a missing attribute and -1 both mean now.
platform::Ticks instant_or_now(const XMLElement& element, const char* name, platform::Ticks now) {
    const std::int32_t seconds = integer_attribute(element, name).value_or(-1);
    return seconds == -1 ? now : platform::ticks_of(seconds);
}

void clip_notification(const XMLElement& storage, IEventSink& sink, const platform::Clock& clock) {
    const char* guid_text = storage.Attribute(names::kGuid);
    if (guid_text == nullptr) return;
    const Guid guid = guid_of(guid_text);
    if (integer_attribute(storage, names::kRetrievalStatus) != names::kRetrievalDone) return;
    const char* file_name = storage.Attribute(names::kFileName);
    if (file_name == nullptr) {
        sink.OnUnusableAnswer(guid, std::string(names::kFileName) + " is missing");
        return;
    }
    const platform::Ticks now = clock.now();
    const char* input_name = storage.Attribute(names::kInputName);
    sink.OnClipRetrieved(
        guid, documents::unquoted(file_name), integer_attribute(storage, names::kType).value_or(1),
        instant_or_now(storage, names::kStart, now), instant_or_now(storage, names::kStop, now),
        std::max(integer_attribute(storage, names::kInputNumber).value_or(0), 0),
        input_name == nullptr ? "input 1" : input_name);
}

void reservation_reply(const XMLElement& storage, IEventSink& sink) {
    const XMLElement* reservation = storage.FirstChildElement(names::kReservation);
    if (reservation == nullptr) return;
    const char* guid_text = reservation->Attribute(names::kGuid);
    const char* temporary = reservation->Attribute(names::kTmpDir);
    const char* output = reservation->Attribute(names::kOutDir);
    if (guid_text == nullptr) return;
    const Guid guid = guid_of(guid_text);
    if (temporary == nullptr || output == nullptr) {
        sink.OnUnusableAnswer(
            guid, std::string(temporary == nullptr ? names::kTmpDir : names::kOutDir) + " is missing");
        return;
    }
    sink.OnReservation(guid, platform::path_of(temporary), platform::path_of(output));
}

/// False if the device was removed, which ends the whole document.
bool device(const XMLElement& element, std::int32_t devices_id, IEventSink& sink,
            const platform::Clock& clock) {
    const std::int32_t number = integer_attribute(element, names::kNumber).value_or(0);
    if (element.Attribute(names::kIpAddress, "") != nullptr) {
        sink.OnDeviceRemoved(devices_id, number);
        return false;
    }
    if (element.Attribute(names::kNorVaneSupported, "1") != nullptr && devices_id != 0 && number != 0) {
        sink.OnDeviceSupported(devices_id, number);
    }
    if (const XMLElement* encoder = xml::descend(&element, names::kCodec, names::kEncoder)) {
        channel_change(*encoder, {static_cast<std::uint32_t>(devices_id), static_cast<std::uint32_t>(number)},
                       sink);
    }
    if (const XMLElement* storage = element.FirstChildElement(names::kStorage))
        retrieval_status(*storage, sink);
    if (const XMLElement* storage = xml::descend(&element, names::kInput, names::kContext, names::kStorage)) {
        clip_notification(*storage, sink, clock);
    }
    return true;
}

void dispatch(const XMLElement& pavo, IEventSink& sink, const platform::Clock& clock) {
    if (const XMLElement* devices = pavo.FirstChildElement(names::kDevices)) {
        const std::int32_t devices_id = integer_attribute(*devices, names::kId).value_or(0);
        // Every element after the first Device is read as a device, whatever its name.
        for (const XMLElement* element = devices->FirstChildElement(names::kDevice); element != nullptr;
             element = element->NextSiblingElement()) {
            if (!device(*element, devices_id, sink, clock)) return;
        }
    }
    if (const XMLElement* storage = pavo.FirstChildElement(names::kStorage))
        reservation_reply(*storage, sink);
}

}  // namespace

void DispatchHostMessage(const tinyxml2::XMLDocument& document, norvane::IEventSink& sink,
                         const platform::Clock& clock) {
    const XMLElement* pavo = document.FirstChildElement(names::kPavo);
    if (pavo == nullptr) return;
    try {
        dispatch(*pavo, sink, clock);
    } catch (const UnreadableGuid&) {  // the rest of the document is ignored
        sink.OnUnusableAnswer(std::nullopt, std::string(names::kGuid) + " is malformed");
    }
}
