#include "tools/recorder/host/host_documents.h"

#include <fmt/format.h>
#include <tinyxml2.h>

#include "host/documents/names.h"

namespace recorder {
namespace {

using tinyxml2::XMLElement;

/// A document with the root element of every message.
class Message {
  public:
    Message() : pavo_(document_.NewElement(names::kPavo)) { document_.InsertEndChild(pavo_); }

    XMLElement* root() { return pavo_; }

    XMLElement* device(const Device& device) {
        XMLElement* devices = pavo_->InsertNewChildElement(names::kDevices);
        devices->SetAttribute(names::kId, device.identifier);
        XMLElement* element = devices->InsertNewChildElement(names::kDevice);
        element->SetAttribute(names::kNumber, device.number);
        return element;
    }

    /// The device's Storage element for one operation.
    XMLElement* storage(const Device& of, const std::string& guid) {
        XMLElement* storage = device(of)->InsertNewChildElement(names::kStorage);
        storage->SetAttribute(names::kGuid, guid.c_str());
        return storage;
    }

    [[nodiscard]] std::string text() const {
        tinyxml2::XMLPrinter printer(nullptr, true);
        document_.Print(&printer);
        return printer.CStr();
    }

  private:
    tinyxml2::XMLDocument document_;
    XMLElement* pavo_;
};

}  // namespace

std::string name_of(const Device& device) {
    return fmt::format("{} {}", device.identifier, device.number);
}

std::string quoted(const std::string& path) {
    std::string text = "\"";
    for (const char c : path) {
        if (c == '"' || c == '&') text += '&';
        text += c;
    }
    return text + '"';
}

std::string device_document(const Device& device, const std::string& address) {
    Message message;
    XMLElement* element = message.device(device);
    element->SetAttribute(names::kIpAddress, address.c_str());
    element->SetAttribute(names::kNorVaneSupported, "1");
    return message.text();
}

std::string channel_document(const Device& device, bool connected, Seconds time) {
    Message message;
    XMLElement* codec = message.device(device)->InsertNewChildElement(names::kCodec);
    XMLElement* encoder = codec->InsertNewChildElement(names::kEncoder);
    encoder->SetAttribute(names::kNumber, 0);
    XMLElement* channel = encoder->InsertNewChildElement(names::kChannel);
    // Always channel 0: the module restores a loss under that number after a restart.
    channel->SetAttribute(names::kNumber, 0);
    channel->SetAttribute(names::kConnected, connected ? 1 : 0);
    channel->SetAttribute(names::kTime, time);
    return message.text();
}

std::string storage_info_document(const Device& device, const std::string& guid, const StorageInfo& info) {
    Message message;
    XMLElement* input = message.storage(device, guid)->InsertNewChildElement(names::kInput);
    XMLElement* context = input->InsertNewChildElement(names::kContext);
    context->SetAttribute(names::kNumber, 0);
    context->SetAttribute(names::kRecordings, info.recordings);
    if (info.recordings > 0) {
        context->SetAttribute(names::kTotalSize, info.megabytes);
        context->SetAttribute(names::kOldestStart, info.oldest);
        context->SetAttribute(names::kNewestEnd, info.newest);
    }
    return message.text();
}

std::string reservation_document(const std::string& guid, const std::string& temporary_directory,
                                 const std::string& output_directory) {
    Message message;
    XMLElement* storage = message.root()->InsertNewChildElement(names::kStorage);
    XMLElement* reservation = storage->InsertNewChildElement(names::kReservation);
    reservation->SetAttribute(names::kGuid, guid.c_str());
    reservation->SetAttribute(names::kTmpDir, temporary_directory.c_str());
    reservation->SetAttribute(names::kOutDir, output_directory.c_str());
    return message.text();
}

std::string clip_document(const Device& device, const std::string& guid, const ClipNotice& clip) {
    Message message;
    XMLElement* input = message.device(device)->InsertNewChildElement(names::kInput);
    XMLElement* storage =
        input->InsertNewChildElement(names::kContext)->InsertNewChildElement(names::kStorage);
    storage->SetAttribute(names::kGuid, guid.c_str());
    storage->SetAttribute(names::kRetrievalStatus, names::kRetrievalDone);
    storage->SetAttribute(names::kFileName, quoted(clip.file).c_str());
    storage->SetAttribute(names::kStart, clip.start);
    storage->SetAttribute(names::kStop, clip.stop);
    storage->SetAttribute(names::kInputNumber, 1);
    storage->SetAttribute(names::kInputName, clip.input_name.c_str());
    storage->SetAttribute(names::kType, clip.type);
    return message.text();
}

std::string done_document(const Device& device, const std::string& guid) {
    Message message;
    message.storage(device, guid)->SetAttribute(names::kRetrievalStatus, names::kRetrievalDone);
    return message.text();
}

std::string failed_document(const Device& device, const std::string& guid, std::int32_t error,
                            Seconds failed_clip_start) {
    Message message;
    XMLElement* storage = message.storage(device, guid);
    storage->SetAttribute(names::kRetrievalStatus, names::kRetrievalFailed);
    storage->SetAttribute(names::kErrorCode, error);
    storage->SetAttribute(names::kFailedClipStartTime, failed_clip_start);
    return message.text();
}

}  // namespace recorder
