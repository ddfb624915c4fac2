#include "tests/support/fake_host.h"

#include <gtest/gtest.h>

#include <chrono>
#include <utility>

namespace hr = host_records;

FakeHost::~FakeHost() {
    EXPECT_EQ(lent_.count(), 0U) << "buffers were never released";
    EXPECT_EQ(wrong_releases_, 0);
}

StreamRecord FakeHost::lend_message(const std::string& text) {
    StreamRecord message;
    message.text = lend(text);
    message.length = static_cast<std::int32_t>(text.size());
    return message;
}

bool FakeHost::wait_until(const std::function<bool()>& condition) {
    std::unique_lock lock(mutex_);
    return changed_.wait_for(lock, std::chrono::minutes(1), condition);
}

std::string FakeHost::lines() {
    std::string all;
    for (const Message& message : messages())
        all += std::to_string(message.message_class) + " " + message.text + "\n";
    return all;
}

int FakeHost::wrong_releases() {
    const std::lock_guard lock(mutex_);
    return std::exchange(wrong_releases_, 0);
}

std::int32_t FakeHost::receive(const host_kit::HostCall& call) {
    const std::string text = record(call);
    if (on_call) on_call(call.message_class(), text);
    if (!call.is_release()) return 1;  // the module ignores the answer to a document
    call.set_result(release_result);
    return release_returns;
}

std::string FakeHost::record(const host_kit::HostCall& call) {
    const std::lock_guard lock(mutex_);
    std::string text;
    last_request_ = call.request();
    last_reply_ = call.reply();
    if (call.is_release()) {
        auto returned = lent_.take_back(call.data());
        if (returned.outcome == host_kit::LentBuffers::Outcome::kReturned) {
            text = std::move(returned.text);
            releases_.push_back(text);
        } else {
            ++wrong_releases_;
        }
    } else {
        text = call.document();
        EXPECT_EQ(text.back(), '\0');
        text.pop_back();
        messages_.push_back({call.message_class(), text, std::this_thread::get_id()});
    }
    changed_.notify_all();
    return text;
}

LoadedModule::LoadedModule()
    : ModuleLibrary(NORVANEPI_MODULE),
      Module(ModuleLibrary::entry_points(), [](const char* fault) { ADD_FAILURE() << fault; }) {}

LoadedModule::~LoadedModule() {
    if (main_loop_.joinable()) end();
    unload();
}

LoadedModule::Sent LoadedModule::write(const char* buffer, std::uint32_t length, std::uint8_t refused,
                                       std::uint32_t identifier) {
    const auto result = Module::write(buffer, length, refused, identifier);
    return {static_cast<std::int32_t>(hr::WriteResult::Status::get(result)),
            hr::WriteResult::Count::get(result)};
}
