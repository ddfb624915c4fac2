#include "tools/host_kit/callback.h"

#include <atomic>
#include <cstring>

namespace host_kit {
namespace {

std::atomic<CallbackReceiver*> current = nullptr;

template <typename Bytes>
Bytes copy_of(const void* record) {
    Bytes bytes{};
    std::memcpy(bytes.data(), record, bytes.size());
    return bytes;
}

}  // namespace

host_records::HostRequest::Bytes HostCall::request() const {
    return copy_of<host_records::HostRequest::Bytes>(request_);
}

host_records::HostReply::Bytes HostCall::reply() const {
    return copy_of<host_records::HostReply::Bytes>(reply_);
}

void HostCall::set_result(std::uint32_t result) const {
    host_records::Output<host_records::HostReply>(reply_).put<host_records::HostReply::Result>(result);
}

CallbackReceiver::CallbackReceiver() {
    current = this;
}

CallbackReceiver::~CallbackReceiver() {
    current = nullptr;
}

host_records::HostCallback CallbackReceiver::callback() {
    return [](const void* request, void* reply) -> std::int32_t {
        CallbackReceiver* const receiver = current;
        return receiver == nullptr ? 1 : receiver->receive(HostCall(request, reply));
    };
}

}  // namespace host_kit
