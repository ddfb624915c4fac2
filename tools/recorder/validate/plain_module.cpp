#include "tools/recorder/validate/plain_module.h"

#include <algorithm>
#include <atomic>
#include <exception>
#include <future>
#include <utility>

#include <fmt/format.h>

#include "tools/recorder/host/module_fault.h"

namespace recorder::validate {
namespace {

namespace hr = host_records;
using host_kit::with;

constexpr std::chrono::seconds kCallLimit{2};
constexpr std::size_t kReceivedKept = 400;  // so that a case of many messages needs no memory
constexpr std::chrono::milliseconds kPollInterval{5};

std::atomic<PlainModule*> current = nullptr;

hr::CloseResult::Bytes closed() {
    return with<hr::CloseResult, hr::CloseResult::Status>(hr::kAccepted);
}

}  // namespace

PlainModule::PlainModule(const CaseFixture& fixture)
    : library_(std::make_unique<CheckedLibrary>(fixture.module(), kCallLimit)),
      module_(CheckedLibrary::entry_points(), throw_module_fault),
      patience_(fixture.patience()) {
    current = this;
}

PlainModule::~PlainModule() {
    current = nullptr;
    if (!main_loop_.joinable()) return;
    // The case ended with a finding. Its main loop may still run, so the library stays in memory.
    main_loop_.detach();
    (void)library_.release();
}

void PlainModule::load(Callback callback) {
    hr::HostCallback function = nullptr;
    if (callback == Callback::kFirst) function = receive<Callback::kFirst>;
    if (callback == Callback::kSecond) function = receive<Callback::kSecond>;
    {
        const std::lock_guard lock(mutex_);
        closed_ = false;
    }
    require_record("Load", module_.load(function), expected_module_info());
}

void PlainModule::open() {
    require_record("Open", module_.open(), with<hr::OpenResult, hr::OpenResult::Status>(hr::kAccepted));
}

void PlainModule::require_no_main_loop() {
    require_record("IOCTL code 1", module_.ioctl(hr::kRunMainLoop),
                   with<hr::IoctlResult, hr::IoctlResult::Status>(hr::kAccepted));
}

void PlainModule::start_main_loop() {
    main_loop_ = std::thread([this] {
        try {
            require_no_main_loop();
        } catch (const ModuleFault& fault) {
            note_fault(fault.what());
        }
    });
}

void PlainModule::join_main_loop() {
    main_loop_.join();
    require_no_fault();
    if (lent_.count() > 0)
        throw ModuleFault(fmt::format("the module did not return {} texts", lent_.count()));
}

void PlainModule::close() {
    require_record("Close", module_.close(), closed());
    const std::lock_guard lock(mutex_);
    closed_ = depth_ == 0;
}

void PlainModule::unload() {
    require_record("Unload", module_.unload(), closed());
    require_no_fault();
    if (lent_.count() > 0)
        throw ModuleFault(
            fmt::format("the module did not return {} texts by the end of Unload", lent_.count()));
    if (lent_.changed_after_return() != 0) throw ModuleFault("the module wrote to a text after returning it");
    CheckedLibrary::require_records_left_alone();
}

void PlainModule::start(Callback callback) {
    load(callback);
    open();
    start_main_loop();
}

void PlainModule::stop() {
    close();
    join_main_loop();
    unload();
}

void PlainModule::require_refusing() {
    require_record("Write", module_.write(nullptr, 0),
                   with<hr::WriteResult, hr::WriteResult::Status>(hr::kRefused));
    require_record("IOCTL code 2", module_.ioctl(hr::kQueueMessage),
                   with<hr::IoctlResult, hr::IoctlResult::Status>(hr::kRefused));
}

void PlainModule::write(const std::string& text) {
    write(text, static_cast<std::uint32_t>(text.size()));
}

void PlainModule::write(const std::string& text, std::uint32_t length) {
    const auto accepted = with<hr::WriteResult, hr::WriteResult::Count>(
        1U, with<hr::WriteResult, hr::WriteResult::Status>(hr::kAccepted));
    require_record("Write", module_.write(lent_.lend(text).text, length), accepted);
}

void PlainModule::write_by_ioctl(const std::string& text) {
    const auto accepted = with<hr::IoctlResult, hr::IoctlResult::Count>(
        1U, with<hr::IoctlResult, hr::IoctlResult::Status>(hr::kAccepted));
    const auto lent = lent_.lend(text);
    require_record("IOCTL code 2", module_.ioctl(hr::kQueueMessage, lent.text, lent.length), accepted);
}

void PlainModule::wait_for_texts() {
    const auto end = std::chrono::steady_clock::now() + patience_ / 2;
    while (lent_.count() > 0) {
        require_no_fault();
        if (std::chrono::steady_clock::now() > end)
            throw ModuleFault(fmt::format("the module did not return {} texts in time", lent_.count()));
        std::this_thread::sleep_for(kPollInterval);
    }
    require_no_fault();
}

std::vector<PlainModule::Received> PlainModule::received() {
    const std::lock_guard lock(mutex_);
    return received_;
}

std::size_t PlainModule::documents_of(Callback callback) {
    return static_cast<std::size_t>(std::ranges::count_if(received(), [&](const Received& each) {
        return each.callback == callback && each.message_class != NORVANEPI_CLASS_RELEASE;
    }));
}

template <PlainModule::Callback callback>
std::int32_t PlainModule::receive(const void* request, void* reply) {
    PlainModule* const module = current;
    return module == nullptr ? 1 : module->receive(callback, host_kit::HostCall(request, reply));
}

std::int32_t PlainModule::receive(Callback callback, const host_kit::HostCall& call) {
    Received received{callback, call.message_class(), {}, std::this_thread::get_id()};
    if (call.is_release()) {
        const auto text = lent_.take_back(call.data());
        received.text = text.text;
        if (const std::string fault = fault_of_return(text); !fault.empty()) note_fault(fault);
    } else {
        received.text = std::string(call.document());
    }
    {
        const std::lock_guard lock(mutex_);
        if (received_.size() == kReceivedKept) received_.clear();
        received_.push_back(received);
        if (depth_ > 0 && inside_ != received.thread)
            fault_ = "two threads were inside the callback at the same time";
        if (closed_) fault_ = "the module called the host after Close had returned";
        inside_ = received.thread;
        ++depth_;
    }
    std::int32_t answer = 0;
    try {
        if (on_received) answer = on_received(received);
    } catch (const ModuleFault& fault) {  // must not pass through the module
        note_fault(fault.what());
    }
    const std::lock_guard lock(mutex_);
    --depth_;
    return answer;
}

void PlainModule::note_fault(const std::string& fault) {
    const std::lock_guard lock(mutex_);
    if (fault_.empty()) fault_ = fault;
}

void PlainModule::require_no_fault() {
    const std::lock_guard lock(mutex_);
    if (!fault_.empty()) throw ModuleFault(fault_);
}

}  // namespace recorder::validate
