#include "bench/ratios/host.h"

#include <malloc.h>
#include <unistd.h>

#include <fstream>
#include <future>

namespace hr = host_records;

namespace bench {
namespace {

double allocated_bytes() {
    const auto info = ::mallinfo2();
    return static_cast<double>(info.uordblks + info.hblkhd);
}

}  // namespace

Host::Host(const std::filesystem::path& module, Profile profile)
    : library_(module), module_(library_.entry_points(), [](const char* fault) { require(false, fault); }) {
    constexpr const char* kConfiguration = "norvanepi.conf";
    if (profile == Profile::kSafe) std::ofstream(kConfiguration) << "profile = safe\n";
    module_.load(callback());
    open_seconds_ = time_of([&] { module_.open(); });
    std::filesystem::remove(kConfiguration);
    std::promise<int> loop_id;
    main_loop_ = std::thread([&] {
        loop_id.set_value(::gettid());
        module_.ioctl(hr::kRunMainLoop);
    });
    loop_id_ = loop_id.get_future().get();
}

Host::~Host() {
    if (main_loop_.joinable()) close();
}

double Host::close() {
    const double seconds = time_of([&] { module_.close(); });
    main_loop_.join();
    module_.unload();
    return seconds;
}

void Host::write(const std::string& text) {
    const auto result = module_.write(text.data(), static_cast<std::uint32_t>(text.size()));
    require(hr::WriteResult::Count::get(result) == 1, "a message was refused");
}

void Host::block_worker() {
    static const std::string nothing = " ";
    to_block_ = true;
    write(nothing);
    blocked_.acquire();
}

Host::BatchCost Host::run(const std::vector<std::string>& texts) {
    BatchCost cost;
    block_worker();
    const double bytes_before = allocated_bytes();
    cost.queue_seconds = time_of([&] {
        for (const std::string& text : texts) write(text);
    });
    cost.queue_bytes = allocated_bytes() - bytes_before;
    left_ = texts.size();
    unblocked_.release();
    done_.acquire();
    cost.work_seconds = ended_ - began_;
    return cost;
}

/// Runs on the main loop's thread. Waits for nothing from the start of the first text to the last release.
void Host::on_release() {
    if (left_ > 0) {
        if (--left_ > 0) return;
        ended_ = thread_seconds();
        done_.release();
    } else if (to_block_.exchange(false)) {
        blocked_.release();
        unblocked_.acquire();
        began_ = thread_seconds();
    }
}

std::int32_t Host::receive(const host_kit::HostCall& call) {
    if (call.is_release()) {
        on_release();
    } else {
        const std::string_view text = call.document();
        replies_.emplace_back(text.substr(0, text.size() - 1));
    }
    return 0;
}

std::vector<std::string> Host::take_replies() {
    return std::exchange(replies_, {});
}

Host::Idle Host::idle() const {
    const std::string thread = "task/" + std::to_string(loop_id_);
    double nanoseconds = 0;
    std::ifstream("/proc/self/" + thread + "/schedstat") >> nanoseconds;
    return {nanoseconds / 1e9, proc_number(thread + "/status", "voluntary_ctxt_switches:")};
}

}  // namespace bench
