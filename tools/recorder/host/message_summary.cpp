#include "tools/recorder/host/message_summary.h"

#include <string_view>

#include <fmt/format.h>
#include <tinyxml2.h>

#include "host/documents/names.h"
#include "plugin/interfaces/records.h"

namespace recorder {
namespace {

using tinyxml2::XMLElement;

std::string attribute(const XMLElement* element, const char* name) {
    const char* value = element == nullptr ? nullptr : element->Attribute(name);
    return value == nullptr ? "?" : value;
}

std::string instant(const XMLElement* element, const char* name) {
    return utc_text(element->Int64Attribute(name));
}

MessageSummary of_log(const XMLElement* log) {
    const bool error = log->IntAttribute(names::kLevel) == kLogError;
    std::string text = log->GetText() == nullptr ? "" : log->GetText();
    while (text.ends_with('\n')) text.pop_back();
    return {error ? "log error" : "log", text, error ? cli::Colour::kRed : cli::Colour::kFaint};
}

MessageSummary of_devices(const XMLElement* devices) {
    const XMLElement* device = devices->FirstChildElement(names::kDevice);
    const XMLElement* storage = device == nullptr ? nullptr : device->FirstChildElement(names::kStorage);
    if (storage == nullptr) return {"device", "?", cli::Colour::kYellow};
    const bool recordings = attribute(storage, names::kCommand) == names::kAskRecordings;
    return {recordings ? "ask clips" : "ask storage",
            fmt::format("{} {} from {} to {}{}", attribute(devices, names::kId),
                        attribute(device, names::kNumber), instant(storage, names::kStart),
                        instant(storage, names::kStop),
                        recordings ? " into " + attribute(storage, names::kTmpFileDir) : ""),
            cli::Colour::kYellow};
}

MessageSummary of_reservation(const XMLElement* storage) {
    const XMLElement* reservation = storage->FirstChildElement(names::kReservation);
    if (reservation == nullptr) return {"reservation", "?", cli::Colour::kYellow};
    const std::string guid = attribute(reservation, names::kGuid);
    if (attribute(reservation, names::kCommand) == names::kReserve) {
        return {"reserve", fmt::format("{} GB for {}", attribute(reservation, names::kReserveGb), guid),
                cli::Colour::kYellow};
    }
    return {"release", "space of " + guid, cli::Colour::kYellow};
}

MessageSummary of_status(const XMLElement* status) {
    return {"status",
            fmt::format("{} at {}", attribute(status, names::kStatus), instant(status, names::kTime)),
            cli::Colour::kGreen};
}

}  // namespace

MessageSummary summarise(const std::string& document) {
    tinyxml2::XMLDocument parsed;
    if (parsed.Parse(document.data(), document.size()) == tinyxml2::XML_SUCCESS) {
        if (const auto* log = parsed.FirstChildElement(names::kLogMessage)) return of_log(log);
        if (const auto* pavo = parsed.FirstChildElement(names::kPavo)) {
            if (const auto* devices = pavo->FirstChildElement(names::kDevices)) return of_devices(devices);
            if (const auto* storage = pavo->FirstChildElement(names::kStorage))
                return of_reservation(storage);
            if (const auto* status = pavo->FirstChildElement(names::kStatusReport)) return of_status(status);
            if (pavo->FirstChildElement(names::kFeature) != nullptr) return {"features", "announced"};
            if (const auto* modules = pavo->FirstChildElement(names::kModules)) {
                const auto* module = modules->FirstChildElement(names::kModule);
                return {"registration", fmt::format("{} {}", attribute(module, names::kName),
                                                    attribute(module, names::kVersion))};
            }
        }
    }
    return {"unknown", document, cli::Colour::kRed};
}

}  // namespace recorder
