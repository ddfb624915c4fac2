// Many threads call the built module, over many lifetimes from Load to Unload. Written for the thread
// sanitizer (scripts/storm); the counts are checked in every build. The test uses no lock, because a lock
// would hide data races of the module.

#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <atomic>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <memory>
#include <random>
#include <thread>

#include "host/documents/names.h"
#include "plugin/interfaces/record_access.h"
#include "tests/support/fake_host.h"
#include "tests/support/host_messages.h"
#include "tests/support/temp_directory.h"

namespace {

namespace hr = host_records;

constexpr std::size_t kProducers = 8;
constexpr std::size_t kLentByEach = 48;
constexpr std::size_t kMaxTextLength = 16'384;
constexpr std::uint64_t kLivesPerState = 5;
constexpr std::uint64_t kLivesPerSafeProfile = 3;  // odd, so that it meets every way to end

/// What the thread is doing. The module may call the host on threads in kCaller and kLoop, one at a time, but
/// not in kSender.
enum class Role { kSender, kCaller, kLoop };
thread_local Role role = Role::kSender;
thread_local int callback_depth = 0;

template <typename Body>
void as(Role temporary, Body body) {
    role = temporary;
    body();
    role = Role::kSender;
}

/// Polls, because std::atomic::wait of GCC 12 for Windows sometimes misses a change.
template <typename Condition>
void wait_until(Condition holds) {
    while (!holds()) std::this_thread::sleep_for(std::chrono::microseconds(50));
}

/// Memory for one text at a time that is lent to the module.
struct Slot {
    std::array<char, kMaxTextLength> text{};
    std::atomic<bool> lent{false};
};

std::string big(std::uint64_t random) {
    std::string text = "<Pavo>";
    while (text.size() < random % (kMaxTextLength - 100))
        text += "<Devices ID='7'><Device Number='x'/></Devices>";
    return text + "</Pavo>";
}

/// Mostly valid messages, some invalid ones.
std::string some_text(std::uint64_t random) {
    switch (random >> 32U & 15U) {
        case 0:
            return {};
        case 1:
            return "<Pavo><Devices ID='7'><Device Number='3'";
        case 2:
            return big(random);
        case 3:
            return retrieval_done(kUnknownGuid);
        default:
            return about_channel(random / 64 % 2 == 1, random / 128 % 1'000'000'000, random % 50);
    }
}

/// One lifetime of the module, from Load to Unload. Each producer has an array of slots, and so have the
/// answers that the callback sends.
class ModuleLife {
  public:
    ModuleLife(std::uint64_t seed, std::uint64_t messages)
        : random_(seed),
          end_(static_cast<End>(seed % 4)),
          loads_again_(seed / 4 % 4 == 0),
          ends_at_(random_() % (2 * messages)) {
        current = this;
    }
    ModuleLife(const ModuleLife&) = delete;
    ModuleLife& operator=(const ModuleLife&) = delete;
    ~ModuleLife() { current = nullptr; }

    void run() {
        load();
        std::vector<std::thread> threads;
        for (std::size_t producer = 0; producer < kProducers; ++producer)
            threads.emplace_back([this, producer] { produce(producer); });
        silent_ = false;
        as(Role::kCaller, [this] { module_.open(); });
        std::thread loop([this] { as(Role::kLoop, [this] { module_.ioctl(hr::kRunMainLoop); }); });
        end();
        loop.join();
        if (!loads_again_) silent_ = true;
        over_ = true;
        for (std::thread& thread : threads) thread.join();
        as(Role::kCaller, [this] { module_.unload(); });

        EXPECT_EQ(faults_, 0U);
        EXPECT_EQ(released_, accepted_);
        EXPECT_TRUE(std::none_of(&slots_[0], &slots_[(kProducers + 1) * kLentByEach],
                                 [](const Slot& slot) { return slot.lent.load(); }));
        total_accepted += accepted_;
        total_documents += documents_;
    }

    inline static std::uint64_t total_accepted = 0;
    inline static std::uint64_t total_documents = 0;

  private:
    enum class End { kClose, kUnload, kCloseTwiceAtOnce, kCloseFromTheCallback };

    void load() {
        module_.load([](const void* request, void* /*reply*/) { return current->take(request); });
    }

    /// Ends the loop after a random number of messages, unless the callback does it.
    void end() {
        if (end_ == End::kCloseFromTheCallback) return;
        wait_until([this] { return accepted_ >= ends_at_; });
        std::thread second;
        if (end_ == End::kCloseTwiceAtOnce)
            second = std::thread([this] { as(Role::kCaller, [this] { module_.close(); }); });
        as(Role::kCaller, [this] { end_ == End::kUnload ? module_.unload() : module_.close(); });
        if (second.joinable()) second.join();
        if (!loads_again_) silent_ = true;
    }

    /// Sends texts until the module is closed. Continues after refusals before Open.
    void produce(std::size_t producer) {
        std::mt19937_64 random(ends_at_ + producer);
        bool accepted_before = false;
        for (std::size_t i = 0; !over_; ++i) {
            Slot& slot = slots_[producer * kLentByEach + i % kLentByEach];
            wait_until([&slot] { return !slot.lent; });
            const bool accepted = send(slot, some_text(random()));
            if (accepted_before && !accepted) return;
            accepted_before = accepted;
            if (!accepted) std::this_thread::yield();
            if (i % 32 == producer) make_harmless_calls();
        }
    }

    /// Calls without an effect while the main loop is running. They are also harmless after it: a second loop
    /// returns at once, and no one opens the context of another Load. A lifetime uses only one of the two,
    /// because a loop in a context that no one closes would never end.
    void make_harmless_calls() {
        module_.read();
        module_.seek();
        module_.ioctl(hr::kNothing);
        if (loop_seen_ && loads_again_) as(Role::kCaller, [this] { load(); });
        if (loop_seen_ && !loads_again_) module_.ioctl(hr::kRunMainLoop);
    }

    bool send(Slot& slot, const std::string& text) {
        std::copy(text.begin(), text.end(), slot.text.begin());
        slot.lent = true;
        const auto length = static_cast<std::uint32_t>(text.size());
        const bool accepted = length % 2 == 0
                                  ? module_.write(slot.text.data(), length).status == 0
                                  : module_.ioctl(hr::kQueueMessage, slot.text.data(), length)[12] == 0;
        if (accepted) {
            ++accepted_;
        } else if (!slot.lent.exchange(false)) {
            ++faults_;  // refused, but released
        }
        return accepted;
    }

    std::int32_t take(const void* request) {
        const hr::Input<hr::HostRequest> in(request);
        const auto* text = hr::pointer_of<const char*>(in.get<hr::HostRequest::Data>());
        if (role == Role::kSender || silent_) ++faults_;
        // Relaxed, so that it does not order the module's accesses to its own data.
        const bool outermost = callback_depth++ == 0;
        if (outermost && inside_.exchange(true, std::memory_order_relaxed)) ++faults_;
        if (in.get<hr::HostRequest::MessageClass>() == names::kReleaseClass) {
            take_back(text);
        } else {
            ++documents_;
            answer(text);
        }
        --callback_depth;
        if (outermost) inside_.store(false, std::memory_order_relaxed);
        return 0;
    }

    void take_back(const char* text) {
        const auto slot = static_cast<std::size_t>(text - slots_[0].text.data()) / sizeof(Slot);
        const bool known = slot < (kProducers + 1) * kLentByEach && slots_[slot].text.data() == text;
        if (!known || !slots_[slot].lent.exchange(false)) ++faults_;
        ++released_;
        if (role == Role::kLoop) loop_seen_ = true;
        if (end_ == End::kCloseFromTheCallback && accepted_ >= ends_at_ && !ending_.exchange(true))
            module_.close();
    }

    /// Answers each request for storage information inside the callback: the retrieval is done.
    void answer(const char* text) {
        const std::string request = text;
        const auto guid = request.find(" GUID=\"");
        if (request.find(" Command=\"1\"") == std::string::npos || guid == std::string::npos) return;
        Slot& slot = slots_[kProducers * kLentByEach + answers_++ % kLentByEach];
        if (!slot.lent) (void)send(slot, retrieval_done(request.substr(guid + 7, 36)));
    }

    inline static ModuleLife* current = nullptr;

    std::mt19937_64 random_;
    const End end_;
    const bool loads_again_;
    const std::uint64_t ends_at_;  // number of accepted messages
    std::unique_ptr<Slot[]> slots_ = std::make_unique<Slot[]>((kProducers + 1) * kLentByEach);
    LoadedModule module_;
    std::size_t answers_ = 0;  // used only by the main loop's thread
    std::atomic<bool> over_{false};
    std::atomic<bool> loop_seen_{false};
    std::atomic<bool> ending_{false};
    std::atomic<bool> silent_{true};   // not open: the module must not call the host
    std::atomic<bool> inside_{false};  // a thread is inside the callback
    std::atomic<std::uint64_t> accepted_{0};
    std::atomic<std::uint64_t> released_{0};
    std::atomic<std::uint64_t> documents_{0};
    std::atomic<std::uint64_t> faults_{0};
};

std::uint64_t setting(const char* name, std::uint64_t default_value) {
    const char* const value = std::getenv(name);  // NOLINT(concurrency-mt-unsafe): no other thread exists yet
    return value == nullptr ? default_value : std::strtoull(value, nullptr, 10);
}

}  // namespace

TEST(StormTest, EachAcceptedTextIsReleasedOnce) {
    const std::uint64_t lives = setting("NORVANEPI_STORM_LIVES", 16);
    const std::uint64_t messages = setting("NORVANEPI_STORM_MESSAGES", 8'000);
    const std::uint64_t seed = setting("NORVANEPI_STORM_SEED", 0);
    const WorkingDirectory directory;
    for (std::uint64_t life = 0; life < lives && !HasFailure(); ++life) {
        SCOPED_TRACE("life " + std::to_string(life));
        // Unfinished operations accumulate in the state file, so it is removed from time to time.
        if (life % kLivesPerState == 0) (void)std::remove("norvanepi_state.xml");
        (void)std::remove("norvanepi.conf");
        if (life % kLivesPerSafeProfile == 1) write_file("norvanepi.conf", "profile = safe");
        ModuleLife(seed + life, messages / lives).run();
    }
    EXPECT_GT(ModuleLife::total_documents, lives);
    std::printf("lives %llu  accepted and released %llu  documents from the module %llu\n",
                static_cast<unsigned long long>(lives),
                static_cast<unsigned long long>(ModuleLife::total_accepted),
                static_cast<unsigned long long>(ModuleLife::total_documents));
}
