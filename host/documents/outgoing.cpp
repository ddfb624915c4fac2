#include "host/documents/outgoing.h"

#include <boost/uuid/uuid_io.hpp>

#include "host/documents/names.h"
#include "host/documents/quoted_path.h"

namespace documents {
namespace {

using tinyxml2::XMLDocument;
using tinyxml2::XMLElement;

/// Every document begins with the default declaration.
XMLElement* start_document(XMLDocument& document, const char* root) {
    document.InsertEndChild(document.NewDeclaration());
    XMLElement* element = document.NewElement(root);
    document.InsertEndChild(element);
    return element;
}

XMLElement* start_pavo(XMLDocument& document, std::int32_t delta) {
    XMLElement* pavo = start_document(document, names::kPavo);
    pavo->SetAttribute(names::kDelta, delta);
    return pavo;
}

XMLElement* add_child(XMLElement* parent, const char* name) {
    XMLElement* child = parent->GetDocument()->NewElement(name);
    parent->InsertEndChild(child);
    return child;
}

void set_guid(XMLElement& element, const norvane::Guid& guid) {
    element.SetAttribute(names::kGuid, boost::uuids::to_string(guid).c_str());
}

XMLElement* fill_storage_command(XMLDocument& document, const DeviceStorageCommand& command,
                                 const char* code) {
    XMLElement* devices = add_child(start_pavo(document, 1), names::kDevices);
    devices->SetAttribute(names::kId, static_cast<std::int32_t>(command.device.devices_id));
    XMLElement* device = add_child(devices, names::kDevice);
    device->SetAttribute(names::kNumber, command.device.number);
    XMLElement* storage = add_child(device, names::kStorage);
    set_guid(*storage, command.guid);
    storage->SetAttribute(names::kCommand, code);
    storage->SetAttribute(names::kStart, platform::seconds_of(command.start));
    storage->SetAttribute(names::kStop, platform::seconds_of(command.stop));
    return storage;
}

XMLElement* fill_reservation(XMLDocument& document, const norvane::Guid& guid, const char* command) {
    XMLElement* storage = add_child(start_document(document, names::kPavo), names::kStorage);
    storage->SetAttribute(names::kId, names::kStorageId);
    XMLElement* reservation = add_child(storage, names::kReservation);
    set_guid(*reservation, guid);
    reservation->SetAttribute(names::kCommand, command);
    return reservation;
}

}  // namespace

void fill_registration(XMLDocument& document) {
    XMLElement* modules = add_child(start_pavo(document, 0), names::kModules);
    XMLElement* module = add_child(modules, names::kModule);
    module->SetAttribute(names::kName, names::kModuleName);
    module->SetAttribute(names::kId, names::kModuleId);
    module->SetAttribute(names::kVersion, NORVANEPI_VERSION);
}

void fill_features(XMLDocument& document) {
    add_child(start_pavo(document, 0), names::kFeature)->SetAttribute(names::kId, names::kModuleId);
}

void fill_storage_info_request(XMLDocument& document, const DeviceStorageCommand& command) {
    fill_storage_command(document, command, names::kAskStorageInfo);
}

void fill_recordings_request(XMLDocument& document, const DeviceStorageCommand& command,
                             const platform::Path& temporary_directory) {
    XMLElement* storage = fill_storage_command(document, command, names::kAskRecordings);
    storage->SetAttribute(names::kTmpFileDir, quoted(temporary_directory).c_str());
}

void fill_reservation_request(XMLDocument& document, const norvane::Guid& guid, std::uint32_t gigabytes) {
    fill_reservation(document, guid, names::kReserve)
        ->SetAttribute(names::kReserveGb, static_cast<std::int32_t>(gigabytes));
}

void fill_reservation_release(XMLDocument& document, const norvane::Guid& guid) {
    fill_reservation(document, guid, names::kReleaseReservation);
}

void fill_status(XMLDocument& document, std::int32_t status, norvane::Ticks now) {
    XMLElement* report = add_child(start_document(document, names::kPavo), names::kStatusReport);
    report->SetAttribute(names::kId, names::kModuleId);
    report->SetAttribute(names::kStatus, status);
    report->SetAttribute(names::kTime, platform::seconds_of(now));
}

void fill_log_message(XMLDocument& document, std::int32_t level, const char* text) {
    XMLElement* message = start_document(document, names::kLogMessage);
    message->SetAttribute(names::kLevel, level);
    message->SetText(text);
}

}  // namespace documents
