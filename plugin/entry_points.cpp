// The eight exported functions. Each takes an input record and an output record of the host, and returns 0.

#include <limits>

#include "plugin/entry_guard.h"
#include "plugin/interfaces/host_records.h"
#include "plugin/interfaces/record_access.h"
#include "plugin/module_context.h"
#include "plugin/send_to_host.h"

#if defined(_WIN32)
#define NORVANEPI_EXPORT extern "C" __declspec(dllexport)
#else
#define NORVANEPI_EXPORT extern "C" __attribute__((visibility("default")))
#endif

namespace {

namespace hr = host_records;

void fill_module_info(const hr::Output<hr::ModuleInfo>& info) {
    info.put<hr::ModuleInfo::Identifier>(hr::kModuleId);
    info.put<hr::ModuleInfo::Word12>(0x08000310U);
    info.put<hr::ModuleInfo::Word16>(0U);
    info.put<hr::ModuleInfo::Word20>(0x03000010U);
    info.put<hr::ModuleInfo::Word24>(0U);
    info.put<hr::ModuleInfo::Word28>(0U);
    info.put<hr::ModuleInfo::Word32>(0x08000310U);
    info.put<hr::ModuleInfo::Word36>(0U);
    info.put<hr::ModuleInfo::Word40>(0U);
    info.put<hr::ModuleInfo::Word52>(0x01010001U);
    info.put<hr::ModuleInfo::Half56>(std::uint16_t{0});
    info.put<hr::ModuleInfo::Word60>(0U);
}

StreamRecord make_message(std::uint32_t length, std::uint64_t text) {
    StreamRecord record;
    // A length above the range of int32_t becomes 0: the text is released without parsing it.
    const bool parsable = length <= static_cast<std::uint32_t>(std::numeric_limits<std::int32_t>::max());
    record.length = parsable ? static_cast<std::int32_t>(length) : 0;
    record.text = hr::pointer_of<const char*>(text);
    record.flags = kQueuedMessage;
    return record;
}

bool queue(const StreamRecord& record) {
    const auto context = current_context();
    return context != nullptr && context->append(record);
}

void queue_write(const hr::Input<hr::WriteRequest>& request, const hr::Output<hr::WriteResult>& result) {
    using Request = hr::WriteRequest;
    if (request.get<Request::Refused>() != 0) {
        result.put<hr::WriteResult::Status>(hr::kRefused);
        return;
    }
    if (request.get<Request::Identifier>() == hr::kModuleId) return;  // a message of the module itself
    StreamRecord record = make_message(request.get<Request::Length>(), request.get<Request::Text>());
    record.identifier = request.get<Request::Identifier>();
    record.carriedA = request.get<Request::CarriedA>();
    record.carriedB = request.get<Request::CarriedB>();
    if (!queue(record)) {
        result.put<hr::WriteResult::Status>(hr::kRefused);
        return;
    }
    result.put<hr::WriteResult::Count>(1U);
    result.put<hr::WriteResult::Status>(hr::kAccepted);
}

void run_control_code(const hr::Input<hr::IoctlRequest>& request, const hr::Output<hr::IoctlResult>& result) {
    using Request = hr::IoctlRequest;
    result.put<hr::IoctlResult::Status>(hr::kAccepted);
    switch (request.get<Request::Code>()) {
        case hr::kRunMainLoop:
            if (const auto context = current_context()) context->run_main_loop();
            break;
        case hr::kQueueMessage:
            if (queue(make_message(request.get<Request::Length>(), request.get<Request::Text>()))) {
                result.put<hr::IoctlResult::Count>(1U);
            } else {
                result.put<hr::IoctlResult::Status>(hr::kRefused);
            }
            break;
        case hr::kNothing:
            break;
        default:
            result.put<hr::IoctlResult::Status>(hr::kRefused);
    }
}

}  // namespace

NORVANEPI_EXPORT std::int32_t Load(const void* input, void* output) {
    const auto load = [&] {
        const auto callback = hr::Input<hr::HostInfo>(input).get<hr::HostInfo::Callback>();
        set_host_callback(hr::pointer_of<hr::HostCallback>(callback));
        load_context(platform::real_system());
        fill_module_info(hr::Output<hr::ModuleInfo>(output));
    };
    return guard("Load", load, [] {});  // the output record has no status
}

NORVANEPI_EXPORT std::int32_t Unload(const void* /*input*/, void* output) {
    const hr::Output<hr::CloseResult> result(output);
    const auto unload = [&] {
        unload_context();
        result.put<hr::CloseResult::Status>(hr::kAccepted);
    };
    return guard("Unload", unload, [&] { result.put<hr::CloseResult::Status>(hr::kRefused); });
}

NORVANEPI_EXPORT std::int32_t Open(const void* /*input*/, void* output) {
    const hr::Output<hr::OpenResult> result(output);
    const auto open = [&] {
        if (const auto context = current_context()) context->open();
        result.put<hr::OpenResult::Status>(std::uint64_t{0});
    };
    return guard("Open", open, [&] { result.put<hr::OpenResult::Status>(~std::uint64_t{0}); });
}

NORVANEPI_EXPORT std::int32_t Close(const void* /*input*/, void* output) {
    const hr::Output<hr::CloseResult> result(output);
    const auto close = [&] {
        if (const auto context = current_context()) context->close();
        result.put<hr::CloseResult::Status>(hr::kAccepted);
    };
    return guard("Close", close, [&] { result.put<hr::CloseResult::Status>(hr::kRefused); });
}

NORVANEPI_EXPORT std::int32_t Read(const void* /*input*/, void* output) {
    hr::Output<hr::ReadResult>(output).put<hr::ReadResult::Count>(0U);  // there is nothing to read
    return 0;
}

NORVANEPI_EXPORT std::int32_t Write(const void* input, void* output) {
    const hr::Output<hr::WriteResult> result(output);
    const auto write = [&] { queue_write(hr::Input<hr::WriteRequest>(input), result); };
    return guard("Write", write, [&] { result.put<hr::WriteResult::Status>(hr::kRefused); });
}

NORVANEPI_EXPORT std::int32_t Seek(const void* /*input*/, void* output) {
    hr::Output<hr::SeekResult>(output).put<hr::SeekResult::Status>(
        hr::kRefused);  // the position cannot be changed
    return 0;
}

NORVANEPI_EXPORT std::int32_t IOCTL(const void* input, void* output) {
    const hr::Output<hr::IoctlResult> result(output);
    const auto ioctl = [&] { run_control_code(hr::Input<hr::IoctlRequest>(input), result); };
    return guard("IOCTL", ioctl, [&] { result.put<hr::IoctlResult::Status>(hr::kRefused); });
}
