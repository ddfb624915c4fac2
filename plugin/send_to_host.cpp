#include "plugin/send_to_host.h"

#include <atomic>
#include <string>

#include "host/documents/names.h"
#include "host/documents/outgoing.h"
#include "plugin/interfaces/record_access.h"
#include "plugin/interfaces/records.h"

namespace {

using host_records::HostReply;
using host_records::HostRequest;

constinit std::atomic<host_records::HostCallback> host_callback{nullptr};

HostRequest::Bytes make_request(const void* data, std::uint32_t length, std::uint32_t message_class,
                                std::uint32_t word36) {
    HostRequest::Bytes request{};
    HostRequest::RecordSize::put(request, HostRequest::size);
    HostRequest::Word4::put(request, 1);
    HostRequest::Length::put(request, length);
    HostRequest::Data::put(request, host_records::address_of(data));
    HostRequest::Identifier::put(request, host_records::kModuleId);
    HostRequest::MessageClass::put(request, message_class);
    HostRequest::Word36::put(request, word36);
    return request;
}

ReleaseOutcome call_host(const HostRequest::Bytes& request) {
    const auto callback = host_callback.load();
    if (callback == nullptr) return {};
    HostReply::Bytes reply{};
    HostReply::RecordSize::put(reply, HostReply::size);
    HostReply::Word4::put(reply, 1);
    const std::int32_t returned = callback(request.data(), reply.data());
    return {returned, static_cast<std::int32_t>(HostReply::Result::get(reply))};
}

}  // namespace

void set_host_callback(host_records::HostCallback callback) noexcept {
    host_callback.store(callback);
}

void SendToHost(const tinyxml2::XMLDocument& document, std::uint32_t message_class) {
    tinyxml2::XMLPrinter printer(nullptr, true);
    document.Print(&printer);
    (void)call_host(make_request(printer.CStr(), static_cast<std::uint32_t>(printer.CStrSize()),
                                 message_class, host_records::kMessageWord));
}

void LogToHost(std::int32_t level, const char* text) {
    tinyxml2::XMLDocument document;
    documents::fill_log_message(document, level, text);
    SendToHost(document, names::kLogClass);
}

void try_log_error(std::initializer_list<const char*> pieces) noexcept {
    try {
        std::string line;
        for (const char* piece : pieces) line += piece;
        LogToHost(kLogError, line.c_str());
    } catch (...) {  // no memory for the line, or the host's callback threw
    }
}

ReleaseOutcome RequestRelease(const char* text) {
    return call_host(make_request(text, 0, names::kReleaseClass, 0));
}
