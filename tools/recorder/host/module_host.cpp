#include "tools/recorder/host/module_host.h"

#include <algorithm>
#include <bit>
#include <string_view>

#include <fmt/format.h>

#include "host/documents/names.h"
#include "tools/recorder/validate/record_check.h"

namespace recorder {
namespace {

using namespace host_records;

/// The callback's way to the one host of the process.
std::atomic<ModuleHost*> current_host = nullptr;

/// For entry points that look at no input.
constexpr auto kUnread = untouched<HostInfo>();

ModuleInfo::Bytes expected_info() {
    auto info = untouched<ModuleInfo>();
    ModuleInfo::Identifier::put(info, kModuleId);
    ModuleInfo::Word12::put(info, 0x08000310);
    ModuleInfo::Word16::put(info, 0);
    ModuleInfo::Word20::put(info, 0x03000010);
    ModuleInfo::Word24::put(info, 0);
    ModuleInfo::Word28::put(info, 0);
    ModuleInfo::Word32::put(info, 0x08000310);
    ModuleInfo::Word36::put(info, 0);
    ModuleInfo::Word40::put(info, 0);
    ModuleInfo::Word52::put(info, 0x01010001);
    ModuleInfo::Half56::put(info, 0);
    ModuleInfo::Word60::put(info, 0);
    return info;
}

/// The bytes behind an address that the plug-in gave, valid for the duration of its call.
std::string_view bytes_at(std::uint64_t address, std::size_t length) {
    return {std::bit_cast<const char*>(static_cast<std::uintptr_t>(address)), length};
}

template <typename Layout>
typename Layout::Bytes copy_of(const void* record) {
    typename Layout::Bytes bytes{};
    std::memcpy(bytes.data(), record, bytes.size());
    return bytes;
}

/// The request as it has to be around length, data and class.
HostRequest::Bytes expected_request(const HostRequest::Bytes& found) {
    const std::uint32_t message_class = HostRequest::MessageClass::get(found);
    const bool release = message_class == names::kReleaseClass;
    HostRequest::Bytes request{};
    HostRequest::RecordSize::put(request, HostRequest::size);
    HostRequest::Word4::put(request, 1);
    HostRequest::Length::put(request, release ? 0 : HostRequest::Length::get(found));
    HostRequest::Data::put(request, HostRequest::Data::get(found));
    HostRequest::Identifier::put(request, kModuleId);
    HostRequest::MessageClass::put(request, message_class);
    HostRequest::Word36::put(request, release ? 0 : kMessageWord);
    return request;
}

std::string fault_of_records(const HostRequest::Bytes& request, const HostReply::Bytes& reply) {
    const auto expected = expected_request(request);
    const auto [is, should] = std::mismatch(request.begin(), request.end(), expected.begin());
    if (is != request.end()) {
        return fmt::format("byte {} of a request is {:02X}, not {:02X}", is - request.begin(), *is, *should);
    }
    HostReply::Bytes empty{};
    HostReply::RecordSize::put(empty, HostReply::size);
    HostReply::Word4::put(empty, 1);
    return reply == empty ? "" : "a request came with a wrong reply record";
}

/// The document's text without its NUL, or a fault.
std::string document_of(const HostRequest::Bytes& request, std::string& fault) {
    const std::string_view text =
        bytes_at(HostRequest::Data::get(request), HostRequest::Length::get(request));
    if (text.empty() || text.find('\0') != text.size() - 1) {
        fault = "a document does not end with the one NUL that its length counts";
        return std::string(text);
    }
    return std::string(text.substr(0, text.size() - 1));
}

}  // namespace

ModuleHost::ModuleHost(const std::filesystem::path& module, std::chrono::seconds patience,
                       std::uint64_t texts_before)
    : library_(module), watchdog_(patience), lent_(texts_before) {
    current_host = this;
    load();
    try {
        open();
        main_loop_ = std::thread([this] { run_main_loop(); });
        check_other_entry_points();
    } catch (...) {
        close();
        unload();
        current_host = nullptr;
        throw;
    }
}

ModuleHost::~ModuleHost() {
    try {
        if (loaded_) {
            close();
            unload();
        }
    } catch (const ModuleFault&) {  // the fault that led here was reported already
        loaded_ = false;
    }
    if (main_loop_.joinable()) watchdog_.guard("the main loop", [this] { main_loop_.join(); });
    current_host = nullptr;
}

void ModuleHost::stop() {
    close();
    unload();
    if (!main_loop_fault_.empty()) throw ModuleFault(main_loop_fault_);
    if (lent_.outstanding() > 0) {
        throw ModuleFault(fmt::format("the plug-in kept {} message texts", lent_.outstanding()));
    }
}

template <typename Bytes>
void ModuleHost::call(const char* name, ModuleLibrary::EntryPoint* entry_point, const void* input,
                      const Bytes& expected) {
    auto output = expected;
    output.fill(kUntouched);
    watchdog_.guard(name, [&] { return entry_point(input, output.data()); });
    require_record(name, output, expected);
}

void ModuleHost::load() {
    auto info = untouched<HostInfo>();
    HostInfo::Callback::put(info, std::bit_cast<std::uintptr_t>(&ModuleHost::take_call));
    calling_thread_ = std::this_thread::get_id();
    loaded_ = true;
    call("Load", library_.load, info.data(), expected_info());
}

void ModuleHost::open() {
    call("Open", library_.open, kUnread.data(), with<OpenResult, OpenResult::Status>(kAccepted));
    calling_thread_ = std::thread::id();
}

void ModuleHost::run_main_loop() {
    loop_thread_ = std::this_thread::get_id();
    const auto request = with<IoctlRequest, IoctlRequest::Code>(kRunMainLoop);
    auto result = untouched<IoctlResult>();
    library_.ioctl(request.data(), result.data());
    if (IoctlResult::Status::get(result) != kAccepted)
        main_loop_fault_ = "the main loop ended with a failure";
}

void ModuleHost::check_other_entry_points() {
    call("Read", library_.read, kUnread.data(), with<ReadResult, ReadResult::Count>(0U));
    call("Seek", library_.seek, kUnread.data(), with<SeekResult, SeekResult::Status>(kRefused));
}

void ModuleHost::close() {
    calling_thread_ = std::this_thread::get_id();
    call("Close", library_.close, kUnread.data(), with<CloseResult, CloseResult::Status>(kAccepted));
    if (main_loop_.joinable()) watchdog_.guard("the main loop", [this] { main_loop_.join(); });
}

void ModuleHost::unload() {
    loaded_ = false;
    call("Unload", library_.unload, kUnread.data(), with<CloseResult, CloseResult::Status>(kAccepted));
}

void ModuleHost::send(const LentBuffers::Loan& loan, Entrance entrance) {
    entrance == Entrance::kWrite ? write(loan) : queue_by_ioctl(loan);
}

void ModuleHost::write(const LentBuffers::Loan& loan) {
    WriteRequest::Bytes request{};
    WriteRequest::Length::put(request, loan.length);
    WriteRequest::Text::put(request, loan.address);
    call("Write", library_.write, request.data(),
         with<WriteResult, WriteResult::Count>(1U, with<WriteResult, WriteResult::Status>(kAccepted)));
}

void ModuleHost::queue_by_ioctl(const LentBuffers::Loan& loan) {
    auto request = with<IoctlRequest, IoctlRequest::Code>(kQueueMessage);
    IoctlRequest::Length::put(request, loan.length);
    IoctlRequest::Text::put(request, loan.address);
    call("IOCTL", library_.ioctl, request.data(),
         with<IoctlResult, IoctlResult::Count>(1U, with<IoctlResult, IoctlResult::Status>(kAccepted)));
}

std::int32_t ModuleHost::take_call(const void* request, void* reply) {
    ModuleHost* const host = current_host;
    return host == nullptr ? 1 : host->on_call(request, reply);
}

std::int32_t ModuleHost::on_call(const void* request_record, void* reply_record) {
    const auto request = copy_of<HostRequest>(request_record);
    const auto reply = copy_of<HostReply>(reply_record);
    FromModule message;
    message.at = std::chrono::system_clock::now();
    message.message_class = HostRequest::MessageClass::get(request);
    message.fault = fault_of_records(request, reply);
    if (message.message_class == names::kReleaseClass) {
        const auto text = lent_.give_back(HostRequest::Data::get(request));
        message.given_back = text.number;
        if (text.outcome != LentBuffers::Outcome::kFirstTime) message.fault = fault_of_return(text);
    } else {
        message.text = document_of(request, message.fault);
    }
    const auto thread = std::this_thread::get_id();
    if (thread != loop_thread_.load() && thread != calling_thread_.load()) {
        message.fault = "the plug-in called on a thread of its own";
    }
    const Answer answer = message.given_back != 0 ? answer_.load() : Answer{};
    mailbox_.put(std::move(message));
    if (answer.result != 0) {
        HostReply::Result::put(
            HostReply::MutableView(static_cast<platform::Byte*>(reply_record), HostReply::size),
            answer.result);
    }
    return answer.returned;
}

std::string ModuleHost::fault_of_return(const LentBuffers::Return& text) const {
    if (text.outcome == LentBuffers::Outcome::kUnknown) return "a text was given back that was never lent";
    return fmt::format("message {} was given back twice", text.number);
}

}  // namespace recorder
