#include "tools/recorder/host/module_host.h"

#include <algorithm>
#include <string_view>

#include <fmt/format.h>

#include "host/documents/names.h"
#include "tools/recorder/host/module_fault.h"

namespace recorder {
namespace {

using namespace host_records;
using host_kit::LentBuffers;
using host_kit::with;

constexpr std::size_t kReturnedTextsKept = 4096;
constexpr std::chrono::seconds kMinCallLimit{2};

template <typename... Fields>
void put_zeros(ModuleInfo::Bytes& info) {
    (Fields::put(info, 0), ...);
}

/// The request that the received data, class and, for a document, length imply.
HostRequest::Bytes expected_request(const host_kit::HostCall& call) {
    const auto length = static_cast<std::uint32_t>(call.document().size());
    HostRequest::Bytes request{};
    HostRequest::RecordSize::put(request, HostRequest::size);
    HostRequest::Word4::put(request, 1);
    HostRequest::Length::put(request, call.is_release() ? 0 : length);
    HostRequest::Data::put(request, HostRequest::Data::get(call.request()));
    HostRequest::Identifier::put(request, kModuleId);
    HostRequest::MessageClass::put(request, call.message_class());
    HostRequest::Word36::put(request, call.is_release() ? 0 : kMessageWord);
    return request;
}

std::string fault_of_records(const host_kit::HostCall& call) {
    const auto request = call.request();
    const auto expected = expected_request(call);
    const auto [is, should] = std::mismatch(request.begin(), request.end(), expected.begin());
    if (is != request.end()) {
        const auto offset = static_cast<std::size_t>(is - request.begin());
        return fmt::format("{} (byte {} of a request) is {:02X}, not {:02X}", field_at("request", offset),
                           offset, *is, *should);
    }
    HostReply::Bytes empty{};
    HostReply::RecordSize::put(empty, HostReply::size);
    HostReply::Word4::put(empty, 1);
    const auto reply = call.reply();
    const auto wrong = std::ranges::mismatch(reply, empty).in1;
    if (wrong == reply.end()) return "";
    return fmt::format("a request came with a wrong {} in its reply record",
                       field_at("reply", static_cast<std::size_t>(wrong - reply.begin())));
}

}  // namespace

ModuleInfo::Bytes expected_module_info() {
    auto info = host_kit::unwritten<ModuleInfo>();
    ModuleInfo::Identifier::put(info, kModuleId);
    ModuleInfo::Word12::put(info, 0x08000310);
    ModuleInfo::Word20::put(info, 0x03000010);
    ModuleInfo::Word32::put(info, 0x08000310);
    ModuleInfo::Word52::put(info, 0x01010001);
    put_zeros<ModuleInfo::Word16, ModuleInfo::Word24, ModuleInfo::Word28, ModuleInfo::Word36,
              ModuleInfo::Word40, ModuleInfo::Half56, ModuleInfo::Word60>(info);
    return info;
}

std::string fault_of_return(const LentBuffers::Return& text) {
    switch (text.outcome) {
        case LentBuffers::Outcome::kReturned:
            return "";
        case LentBuffers::Outcome::kChanged:
            return fmt::format("the module wrote to message {} or beside it", text.number);
        case LentBuffers::Outcome::kReturnedBefore:
            return fmt::format("the module returned message {} twice", text.number);
        case LentBuffers::Outcome::kNeverLent:
            break;
    }
    return "the module returned a text that was never lent";
}

ModuleHost::ModuleHost(const std::filesystem::path& module, std::chrono::seconds patience,
                       std::uint64_t last_number)
    : library_(module, std::max<std::chrono::nanoseconds>(kMinCallLimit, patience / 10)),
      module_(CheckedLibrary::entry_points(), throw_module_fault),
      watchdog_(patience),
      lent_(last_number, kReturnedTextsKept),
      calling_thread_(std::this_thread::get_id()) {
    check("Load", expected_module_info(), [this] { return module_.load(callback()); });
    loaded_ = true;
    try {
        check("Open", with<OpenResult, OpenResult::Status>(kAccepted), [this] { return module_.open(); });
        calling_thread_ = std::thread::id();
        main_loop_ = std::thread([this] { run_main_loop(); });
        check("Read", with<ReadResult, ReadResult::Count>(0U), [this] { return module_.read(); });
        check("Seek", with<SeekResult, SeekResult::Status>(kRefused), [this] { return module_.seek(); });
    } catch (...) {
        close();
        throw;
    }
}

ModuleHost::~ModuleHost() {
    try {
        if (loaded_) close();
    } catch (const ModuleFault&) {  // the fault that ended the run was reported already
        loaded_ = false;
    }
    if (main_loop_.joinable()) watchdog_.guard("the main loop", [this] { main_loop_.join(); });
}

void ModuleHost::stop() {
    close();
    if (!main_loop_fault_.empty()) throw ModuleFault(main_loop_fault_);
    if (lent_.count() > 0)
        throw ModuleFault(fmt::format("the module did not return {} message texts", lent_.count()));
    if (const auto number = lent_.changed_after_return(); number != 0)
        throw ModuleFault(fmt::format("the module wrote to message {} after returning it", number));
    CheckedLibrary::require_records_left_alone();
}

void ModuleHost::require_running() {
    if (!main_loop_ended_ || closing_) return;
    throw ModuleFault(main_loop_fault_.empty() ? "IOCTL code 1 returned before Close" : main_loop_fault_);
}

template <typename Bytes, typename Call>
void ModuleHost::check(const char* name, const Bytes& expected, Call call) {
    require_record(name, watchdog_.guard(name, call), expected);
}

void ModuleHost::run_main_loop() {
    loop_thread_ = std::this_thread::get_id();
    try {
        require_record("IOCTL code 1", module_.ioctl(kRunMainLoop),
                       with<IoctlResult, IoctlResult::Status>(kAccepted));
        if (!closing_) main_loop_fault_ = "IOCTL code 1 returned before Close";
    } catch (const ModuleFault& fault) {
        main_loop_fault_ = fault.what();
    }
    main_loop_ended_ = true;
}

void ModuleHost::close() {
    calling_thread_ = std::this_thread::get_id();
    closing_ = true;
    check("Close", with<CloseResult, CloseResult::Status>(kAccepted), [this] { return module_.close(); });
    closed_ = true;
    if (main_loop_.joinable()) watchdog_.guard("the main loop", [this] { main_loop_.join(); });
    loaded_ = false;
    check("Unload", with<CloseResult, CloseResult::Status>(kAccepted), [this] { return module_.unload(); });
}

void ModuleHost::send(const host_kit::LentBuffer& message, Route route) {
    if (route == Route::kWrite) {
        check("Write",
              with<WriteResult, WriteResult::Count>(1U, with<WriteResult, WriteResult::Status>(kAccepted)),
              [&] { return module_.write(message.text, message.length); });
    } else {
        check("IOCTL",
              with<IoctlResult, IoctlResult::Count>(1U, with<IoctlResult, IoctlResult::Status>(kAccepted)),
              [&] { return module_.ioctl(kQueueMessage, message.text, message.length); });
    }
}

std::int32_t ModuleHost::receive(const host_kit::HostCall& call) {
    ReceivedMessage message;
    message.at = std::chrono::system_clock::now();
    message.message_class = call.message_class();
    const bool alone = ++callbacks_ == 1;
    message.fault = fault_of(call, message);
    if (!alone) message.fault = "two threads were inside the callback at the same time";
    if (closed_) message.fault = "the module called the host after Close had returned";
    const Answer answer = message.returned_number != 0 ? answer_.load() : Answer{};
    received_.put(std::move(message));
    if (answer.result != 0) call.set_result(answer.result);
    --callbacks_;
    return answer.returned;
}

/// Also sets the message's text or number.
std::string ModuleHost::fault_of(const host_kit::HostCall& call, ReceivedMessage& message) {
    std::string fault;
    if (call.is_release()) {
        const auto returned = lent_.take_back(call.data());
        message.returned_number = returned.number;
        fault = fault_of_return(returned);
    } else {
        const std::string_view text = call.document();
        const bool terminated = !text.empty() && text.find('\0') == text.size() - 1;
        if (!terminated) fault = "a document does not end with exactly one NUL, included in its length";
        message.text = text.substr(0, text.size() - (terminated ? 1 : 0));
    }
    const auto thread = std::this_thread::get_id();
    if (thread != loop_thread_.load() && thread != calling_thread_.load())
        return "the module called the host on a thread of its own";
    return fault.empty() ? fault_of_records(call) : fault;
}

}  // namespace recorder
