// A plug-in that says what it has to at its start and then does the one thing wrong that NORVANEPI_FAULT
// names.

#include <bit>
#include <condition_variable>
#include <cstdlib>
#include <mutex>
#include <string>
#include <thread>
#include <utility>

#include "plugin/host_records.h"

using namespace host_records;

namespace {

constexpr std::uint32_t kLog = 64;
constexpr std::uint32_t kDevice = 256;
constexpr std::uint32_t kRelease = 512;

std::mutex mutex;
std::condition_variable changed;
HostCallback callback = nullptr;
std::uint64_t waiting_text = 0;
bool closed = false;

bool fault_is(const std::string& name) {
    const char* fault = std::getenv("NORVANEPI_FAULT");
    return fault != nullptr && name == fault;
}

template <std::size_t Size>
std::span<platform::Byte, Size> record(void* bytes) {
    return std::span<platform::Byte, Size>(static_cast<platform::Byte*>(bytes), Size);
}

void call(std::uint32_t message_class, std::uint64_t data, std::uint32_t length) {
    HostRequest::Bytes request{};
    HostRequest::RecordSize::put(request, HostRequest::size);
    HostRequest::Word4::put(request, 1);
    HostRequest::Length::put(request, length);
    HostRequest::Data::put(request, data);
    HostRequest::Identifier::put(request,
                                 fault_is("identifier") && message_class == kRelease ? 1 : kModuleId);
    HostRequest::MessageClass::put(request, message_class);
    HostRequest::Word36::put(request, message_class == kRelease ? 0 : kMessageWord);
    HostReply::Bytes reply{};
    HostReply::RecordSize::put(reply, HostReply::size);
    HostReply::Word4::put(reply, 1);
    callback(request.data(), reply.data());
}

void say(std::uint32_t message_class, const std::string& content) {
    const std::string text = R"(<?xml version="1.0" encoding="UTF-8"?>)" + content;
    const std::uint32_t end = fault_is("no end") ? 0 : 1;
    call(message_class, std::bit_cast<std::uintptr_t>(text.c_str()),
         static_cast<std::uint32_t>(text.size()) + end);
}

void answer(std::uint64_t text) {
    if (fault_is("wrong text")) say(kLog, R"(<log_msg level="25">Hello.</log_msg>)");
    if (fault_is("never back")) return;
    if (fault_is("own thread")) {
        std::thread([text] { call(kRelease, text, 0); }).join();
        return;
    }
    call(kRelease, text, 0);
    if (fault_is("twice back")) call(kRelease, text, 0);
}

void run_main_loop() {
    std::unique_lock lock(mutex);
    for (;;) {
        changed.wait(lock, [] { return closed || waiting_text != 0; });
        if (closed) return;
        const std::uint64_t text = std::exchange(waiting_text, 0);
        lock.unlock();
        answer(text);
        lock.lock();
        changed.notify_all();
    }
}

void take(std::uint64_t text) {
    std::unique_lock lock(mutex);
    changed.wait(lock, [] { return waiting_text == 0; });
    waiting_text = text;
    changed.notify_all();
}

}  // namespace

extern "C" {

std::int32_t Load(void* input, void* output) {
    callback = std::bit_cast<HostCallback>(HostInfo::Callback::get(record<HostInfo::size>(input)));
    const auto info = record<ModuleInfo::size>(output);
    ModuleInfo::Identifier::put(info, kModuleId);
    ModuleInfo::Word12::put(info, 0x08000310);
    ModuleInfo::Word16::put(info, 0);
    ModuleInfo::Word20::put(info, fault_is("module info") ? 0 : 0x03000010);
    ModuleInfo::Word24::put(info, 0);
    ModuleInfo::Word28::put(info, 0);
    ModuleInfo::Word32::put(info, 0x08000310);
    ModuleInfo::Word36::put(info, 0);
    ModuleInfo::Word40::put(info, 0);
    ModuleInfo::Word52::put(info, 0x01010001);
    ModuleInfo::Half56::put(info, 0);
    ModuleInfo::Word60::put(info, 0);
    return 0;
}

std::int32_t Open(void*, void* output) {
    OpenResult::Status::put(record<OpenResult::size>(output), 0);
    say(kLog, R"(<log_msg level="25">NorVane - reading saved state and loading.</log_msg>)");
    say(kLog,
        R"(<log_msg level="75">NorVane - Error 'error opening or parsing norvanepi.xml' reading Nor Vane )"
        R"(persisted state.</log_msg>)");
    say(kDevice,
        R"(<Pavo Delta="0"><Modules><Module Name="norvanepi" ID="5308416" Version="1.0.0.0"/></Modules></Pavo>)");
    say(kDevice, R"(<Pavo Delta="0"><Norvane ID="5308416"/></Pavo>)");
    return 0;
}

std::int32_t Close(void*, void* output) {
    while (fault_is("hangs")) std::this_thread::yield();
    const std::lock_guard lock(mutex);
    closed = true;
    changed.notify_all();
    CloseResult::Status::put(record<CloseResult::size>(output), 0);
    return 0;
}

std::int32_t Unload(void*, void* output) {
    CloseResult::Status::put(record<CloseResult::size>(output), 0);
    return 0;
}

std::int32_t Read(void*, void* output) {
    ReadResult::Count::put(record<ReadResult::size>(output), 0);
    return 0;
}

std::int32_t Seek(void*, void* output) {
    SeekResult::Status::put(record<SeekResult::size>(output), kRefused);
    return 0;
}

std::int32_t Write(void* input, void* output) {
    const auto result = record<WriteResult::size>(output);
    WriteResult::Status::put(result, fault_is("refuses") ? kRefused : kAccepted);
    WriteResult::Count::put(result, 1);
    take(WriteRequest::Text::get(record<WriteRequest::size>(input)));
    return 0;
}

std::int32_t IOCTL(void* input, void* output) {
    const auto request = record<IoctlRequest::size>(input);
    const auto result = record<IoctlResult::size>(output);
    IoctlResult::Status::put(result, kAccepted);
    if (IoctlRequest::Code::get(request) == kRunMainLoop) {
        run_main_loop();
    } else {
        IoctlResult::Count::put(result, 1);
        take(IoctlRequest::Text::get(request));
    }
    return 0;
}

}  // extern "C"
