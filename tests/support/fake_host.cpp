#include "tests/support/fake_host.h"

#include <gtest/gtest.h>

#include <chrono>
#include <cstring>

#include "plugin/interfaces/record_access.h"
#include "tests/support/module_file.h"

namespace hr = host_records;

namespace {

constexpr std::uint32_t kReleaseClass = 512;
constexpr std::chrono::minutes kMaxWait{1};

FakeHost* the_host = nullptr;

}  // namespace

FakeHost::FakeHost() {
    the_host = this;
}

FakeHost::~FakeHost() {
    EXPECT_TRUE(held_.empty()) << held_.size() << " buffers were never released";
    EXPECT_EQ(wrong_releases_, 0);
    the_host = nullptr;
}

hr::HostCallback FakeHost::callback() {
    return [](const void* request, void* reply) { return the_host->take(request, reply); };
}

const char* FakeHost::lend(const std::string& text) {
    const std::lock_guard lock(mutex_);
    const auto buffer = buffers_.insert(buffers_.end(), text);
    held_[buffer->data()] = buffer;
    return buffer->data();
}

StreamRecord FakeHost::lend_message(const std::string& text) {
    StreamRecord message;
    message.text = lend(text);
    message.length = static_cast<std::int32_t>(text.size());
    return message;
}

void FakeHost::take_back(const char* buffer) {
    const std::lock_guard lock(mutex_);
    buffers_.erase(held_.at(buffer));
    held_.erase(buffer);
}

bool FakeHost::wait_until(const std::function<bool()>& condition) {
    std::unique_lock lock(mutex_);
    return changed_.wait_for(lock, kMaxWait, condition);
}

bool FakeHost::wait_for_releases() {
    return wait_until([this] { return held_.empty(); });
}

std::vector<FakeHost::Message> FakeHost::messages() {
    const std::lock_guard lock(mutex_);
    return messages_;
}

std::string FakeHost::lines() {
    std::string all;
    for (const Message& message : messages())
        all += std::to_string(message.message_class) + " " + message.text + "\n";
    return all;
}

std::vector<std::string> FakeHost::releases() {
    const std::lock_guard lock(mutex_);
    return releases_;
}

int FakeHost::wrong_releases() {
    const std::lock_guard lock(mutex_);
    return std::exchange(wrong_releases_, 0);
}

hr::HostRequest::Bytes FakeHost::last_request() {
    const std::lock_guard lock(mutex_);
    return last_request_;
}

hr::HostReply::Bytes FakeHost::last_reply() {
    const std::lock_guard lock(mutex_);
    return last_reply_;
}

std::int32_t FakeHost::take(const void* request, void* reply) {
    const hr::Input<hr::HostRequest> in(request);
    const auto* data = hr::pointer_of<const char*>(in.get<hr::HostRequest::Data>());
    const std::uint32_t message_class = in.get<hr::HostRequest::MessageClass>();
    const bool is_release = message_class == kReleaseClass;
    std::string text;
    {
        const std::lock_guard lock(mutex_);
        std::memcpy(last_request_.data(), request, last_request_.size());
        std::memcpy(last_reply_.data(), reply, last_reply_.size());
        if (is_release) {
            const auto held = held_.find(data);
            if (held == held_.end()) {
                ++wrong_releases_;
            } else {
                text = *held->second;
                releases_.push_back(text);
                buffers_.erase(held->second);
                held_.erase(held);
            }
        } else {
            const std::uint32_t length = in.get<hr::HostRequest::Length>();
            EXPECT_EQ(data[length - 1], '\0');
            text.assign(data, length - 1);
            messages_.push_back({message_class, text, std::this_thread::get_id()});
        }
        changed_.notify_all();
    }
    if (on_call) on_call(message_class, text);
    if (!is_release) return 1;  // never looked at
    hr::Output<hr::HostReply>(reply).put<hr::HostReply::Result>(release_result);
    return release_returns;
}

LoadedModule::LoadedModule() : library_(module_file::load()) {}

LoadedModule::~LoadedModule() {
    if (main_loop_.joinable()) {
        close();
        join_main_loop();
    }
    unload();
    module_file::unload(library_);
}

LoadedModule::Record LoadedModule::marked() {
    Record record{};
    record.fill(kMark);
    return record;
}

LoadedModule::Record LoadedModule::load(hr::HostCallback callback) {
    Record info = marked();
    Record input{};
    const auto address = hr::address_of(reinterpret_cast<const void*>(callback));
    hr::Output<hr::HostInfo>(input.data()).put<hr::HostInfo::Callback>(address);
    EXPECT_EQ(entry_point("Load")(input.data(), info.data()), 0);
    return info;
}

LoadedModule::Record LoadedModule::call(const char* name) {
    Record record = marked();
    EXPECT_EQ(entry_point(name)(nullptr, record.data()), 0);
    return record;
}

void LoadedModule::start_main_loop() {
    main_loop_ = std::thread([this] { control(hr::kRunMainLoop); });
}

void LoadedModule::join_main_loop() {
    main_loop_.join();
}

LoadedModule::Sent LoadedModule::write(const char* buffer, std::uint32_t length, std::uint8_t refused,
                                       std::uint32_t identifier) {
    Record input{};
    Record output{};
    const hr::Output<hr::WriteRequest> request(input.data());
    request.put<hr::WriteRequest::Refused>(refused);
    request.put<hr::WriteRequest::Length>(length);
    request.put<hr::WriteRequest::Text>(hr::address_of(buffer));
    request.put<hr::WriteRequest::Identifier>(identifier);
    EXPECT_EQ(entry_point("Write")(input.data(), output.data()), 0);
    const hr::Input<hr::WriteResult> result(output.data());
    return {static_cast<std::int32_t>(result.get<hr::WriteResult::Status>()),
            result.get<hr::WriteResult::Count>()};
}

LoadedModule::Record LoadedModule::control(std::uint32_t code, const char* buffer, std::uint32_t length) {
    Record input{};
    Record output = marked();
    const hr::Output<hr::IoctlRequest> request(input.data());
    request.put<hr::IoctlRequest::Code>(code);
    request.put<hr::IoctlRequest::Length>(length);
    request.put<hr::IoctlRequest::Text>(hr::address_of(buffer));
    EXPECT_EQ(entry_point("IOCTL")(input.data(), output.data()), 0);
    return output;
}

void* LoadedModule::symbol(const char* name) const {
    return module_file::symbol(library_, name);
}

bool LoadedModule::is_in_memory() {
    return module_file::is_loaded();
}

LoadedModule::EntryPoint LoadedModule::entry_point(const char* name) const {
    return reinterpret_cast<EntryPoint>(symbol(name));
}
