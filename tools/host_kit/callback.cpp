#include "tools/host_kit/callback.h"

#include <atomic>

namespace host_kit {
namespace {

std::atomic<CallbackReceiver*> current = nullptr;

}  // namespace

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
