#include "bench/ratios/host.h"

#include <malloc.h>
#include <unistd.h>

#include <fstream>
#include <future>

#include "host/documents/names.h"
#include "plugin/interfaces/host_records.h"
#include "plugin/interfaces/record_access.h"

namespace hr = host_records;

namespace bench {
namespace {

Host* the_host = nullptr;

using AnyRecord = std::array<platform::Byte, 64>;

double allocated_bytes() {
    const auto info = ::mallinfo2();
    return static_cast<double>(info.uordblks + info.hblkhd);
}

}  // namespace

Host::Host(const std::filesystem::path& module) : library_(module) {
    the_host = this;
    AnyRecord input{};
    AnyRecord output{};
    const auto address = hr::address_of(reinterpret_cast<const void*>(&Host::take_call));
    hr::Output<hr::HostInfo>(input.data()).put<hr::HostInfo::Callback>(address);
    library_.load(input.data(), output.data());
    open_seconds_ = time_of([&] { library_.open(nullptr, output.data()); });
    std::promise<int> loop_id;
    main_loop_ = std::thread([&] {
        loop_id.set_value(::gettid());
        AnyRecord request{};
        AnyRecord result{};
        hr::Output<hr::IoctlRequest>(request.data()).put<hr::IoctlRequest::Code>(hr::kRunMainLoop);
        library_.ioctl(request.data(), result.data());
    });
    loop_id_ = loop_id.get_future().get();
}

Host::~Host() {
    if (main_loop_.joinable()) close();
    the_host = nullptr;
}

double Host::close() {
    AnyRecord output{};
    const double seconds = time_of([&] { library_.close(nullptr, output.data()); });
    main_loop_.join();
    library_.unload(nullptr, output.data());
    return seconds;
}

void Host::write(const std::string& text) {
    AnyRecord input{};
    AnyRecord output{};
    const hr::Output<hr::WriteRequest> request(input.data());
    request.put<hr::WriteRequest::Length>(static_cast<std::uint32_t>(text.size()));
    request.put<hr::WriteRequest::Text>(hr::address_of(text.data()));
    library_.write(input.data(), output.data());
    require(hr::Input<hr::WriteResult>(output.data()).get<hr::WriteResult::Count>() == 1,
            "a message was refused");
}

void Host::hold_worker() {
    static const std::string nothing = " ";
    {
        const std::lock_guard lock(mutex_);
        worker_ = Worker::kToBeHeld;
        done_ = false;
    }
    write(nothing);
    std::unique_lock lock(mutex_);
    changed_.wait(lock, [this] { return worker_ == Worker::kHeld; });
}

Host::Burst Host::run(const std::vector<std::string>& texts) {
    Burst burst;
    hold_worker();
    const double bytes_before = allocated_bytes();
    burst.queue_seconds = time_of([&] {
        for (const std::string& text : texts) write(text);
    });
    burst.queue_bytes = allocated_bytes() - bytes_before;
    std::unique_lock lock(mutex_);
    left_ = texts.size();
    worker_ = Worker::kFree;
    changed_.notify_all();
    changed_.wait(lock, [this] { return done_; });
    burst.work_seconds = ended_ - began_;
    return burst;
}

/// On the main loop's thread. Locks nothing between the first text's turn and the last one's release.
void Host::on_release() {
    if (left_ > 0) {
        if (--left_ > 0) return;
        ended_ = thread_seconds();
        const std::lock_guard lock(mutex_);
        done_ = true;
        changed_.notify_all();
        return;
    }
    std::unique_lock lock(mutex_);
    if (worker_ != Worker::kToBeHeld) return;
    worker_ = Worker::kHeld;
    changed_.notify_all();
    changed_.wait(lock, [this] { return worker_ == Worker::kFree; });
    began_ = thread_seconds();
}

std::int32_t Host::take_call(const void* request, void* /*reply*/) {
    const hr::Input<hr::HostRequest> in(request);
    if (in.get<hr::HostRequest::MessageClass>() == names::kReleaseClass) {
        the_host->on_release();
    } else {
        const auto* text = hr::pointer_of<const char*>(in.get<hr::HostRequest::Data>());
        the_host->replies_.emplace_back(text, in.get<hr::HostRequest::Length>() - 1);
    }
    return 0;
}

std::vector<std::string> Host::take_replies() {
    return std::exchange(replies_, {});
}

Host::Idle Host::idle() const {
    const std::string directory = "/proc/self/task/" + std::to_string(loop_id_);
    Idle idle;
    double nanoseconds = 0;
    std::ifstream(directory + "/schedstat") >> nanoseconds;
    idle.seconds = nanoseconds / 1e9;
    std::ifstream status(directory + "/status");
    for (std::string word; status >> word;) {
        if (word == "voluntary_ctxt_switches:") status >> idle.sleeps;
    }
    return idle;
}

}  // namespace bench
