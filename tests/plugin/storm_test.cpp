// Many threads against the built module, life after life. Made for the thread sanitizer (scripts/storm); what
// it counts has to be right in every build. Nothing here locks: a lock of the host's would order what the
// module must.

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
constexpr std::uint64_t kLivesOfAState = 5;

/// What this thread is to the module, which calls the host on a caller's thread and on the loop's, on no
/// other.
enum class Role { kSender, kCaller, kLoop };
thread_local Role role = Role::kSender;

template <typename Body>
void as(Role other, Body body) {
    role = other;
    body();
    role = Role::kSender;
}

/// Not with the atomics' own wait: that of GCC 12 for Windows misses a change now and then.
template <typename Condition>
void wait_until(Condition holds) {
    while (!holds()) std::this_thread::sleep_for(std::chrono::microseconds(50));
}

/// A place for texts that are lent to the module, one after the other.
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

/// Mostly what hosts send, and what they should not.
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

/// From Load to Unload. The host of a life has one slot row a producer and one for the answers of its
/// callback.
class Life {
  public:
    Life(std::uint64_t seed, std::uint64_t messages);
    Life(const Life&) = delete;
    Life& operator=(const Life&) = delete;
    ~Life() { current = nullptr; }

    void run();

    inline static std::uint64_t all_accepted = 0;
    inline static std::uint64_t all_documents = 0;

  private:
    enum class End { kClose, kUnload, kCloseTwiceAtOnce, kCloseFromTheCallback };

    void produce(std::size_t producer);
    void meddle();
    void end();
    bool send(Slot& slot, const std::string& text);
    std::int32_t take(const void* request);
    void take_back(const char* text);
    void answer(const char* text);
    void load();

    static Life* current;

    std::mt19937_64 random_;
    const End end_;
    const bool loads_again_;
    const std::uint64_t ends_at_;  // accepted messages
    std::unique_ptr<Slot[]> slots_ = std::make_unique<Slot[]>((kProducers + 1) * kLentByEach);
    LoadedModule module_;
    std::size_t answers_ = 0;  // the loop's
    std::atomic<bool> over_{false};
    std::atomic<bool> loop_seen_{false};
    std::atomic<bool> ending_{false};
    std::atomic<bool> silent_{true};  // the module may not call: it was closed, or not opened yet
    std::atomic<std::uint64_t> accepted_{0};
    std::atomic<std::uint64_t> released_{0};
    std::atomic<std::uint64_t> documents_{0};
    std::atomic<std::uint64_t> faults_{0};
};

Life* Life::current = nullptr;

Life::Life(std::uint64_t seed, std::uint64_t messages)
    : random_(seed),
      end_(static_cast<End>(seed % 4)),
      loads_again_(seed / 4 % 4 == 0),
      ends_at_(random_() % (2 * messages)) {
    current = this;
}

void Life::load() {
    module_.load([](const void* request, void* /*reply*/) { return current->take(request); });
}

void Life::run() {
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
    all_accepted += accepted_;
    all_documents += documents_;
}

/// Comes at a random instant; with the callback's own Close, the loop ends by itself.
void Life::end() {
    if (end_ == End::kCloseFromTheCallback) return;
    wait_until([this] { return accepted_ >= ends_at_; });
    std::thread second;
    if (end_ == End::kCloseTwiceAtOnce)
        second = std::thread([this] { as(Role::kCaller, [this] { module_.close(); }); });
    as(Role::kCaller, [this] { end_ == End::kUnload ? module_.unload() : module_.close(); });
    if (second.joinable()) second.join();
    if (!loads_again_) silent_ = true;
}

/// Sends until the module takes nothing more; what it refuses before Open is tried again.
void Life::produce(std::size_t producer) {
    std::mt19937_64 random(ends_at_ + producer);
    bool taken_before = false;
    for (std::size_t i = 0; !over_; ++i) {
        Slot& slot = slots_[producer * kLentByEach + i % kLentByEach];
        wait_until([&slot] { return !slot.lent; });
        const bool taken = send(slot, some_text(random()));
        if (taken_before && !taken) return;
        taken_before = taken;
        if (!taken) std::this_thread::yield();
        if (i % 32 == producer) meddle();
    }
}

/// Calls that change nothing while a main loop runs, nor behind it: there a second loop ends at once, and a
/// fresh context is never opened. Not both in one life: a loop of a context that nobody closes runs for ever.
void Life::meddle() {
    module_.read();
    module_.seek();
    module_.ioctl(hr::kNothing);
    if (loop_seen_ && loads_again_) as(Role::kCaller, [this] { load(); });
    if (loop_seen_ && !loads_again_) module_.ioctl(hr::kRunMainLoop);
}

bool Life::send(Slot& slot, const std::string& text) {
    std::copy(text.begin(), text.end(), slot.text.begin());
    slot.lent = true;
    const auto length = static_cast<std::uint32_t>(text.size());
    const bool taken = length % 2 == 0 ? module_.write(slot.text.data(), length).status == 0
                                       : module_.ioctl(hr::kQueueMessage, slot.text.data(), length)[12] == 0;
    if (taken) {
        ++accepted_;
    } else if (!slot.lent.exchange(false)) {
        ++faults_;  // refused and given back
    }
    return taken;
}

std::int32_t Life::take(const void* request) {
    const hr::Input<hr::HostRequest> in(request);
    const auto* text = hr::pointer_of<const char*>(in.get<hr::HostRequest::Data>());
    if (role == Role::kSender || silent_) ++faults_;
    if (in.get<hr::HostRequest::MessageClass>() == names::kReleaseClass) {
        take_back(text);
    } else {
        ++documents_;
        answer(text);
    }
    return 0;
}

void Life::take_back(const char* text) {
    const auto slot = static_cast<std::size_t>(text - slots_[0].text.data()) / sizeof(Slot);
    const bool known = slot < (kProducers + 1) * kLentByEach && slots_[slot].text.data() == text;
    if (!known || !slots_[slot].lent.exchange(false)) ++faults_;
    ++released_;
    if (role == Role::kLoop) loop_seen_ = true;
    if (end_ == End::kCloseFromTheCallback && accepted_ >= ends_at_ && !ending_.exchange(true))
        module_.close();
}

/// Every request for storage information is answered at once, from inside the callback: the retrieval is
/// done.
void Life::answer(const char* text) {
    const std::string request = text;
    const auto guid = request.find(" GUID=\"");
    if (request.find(" Command=\"1\"") == std::string::npos || guid == std::string::npos) return;
    Slot& slot = slots_[kProducers * kLentByEach + answers_++ % kLentByEach];
    if (!slot.lent) (void)send(slot, retrieval_done(request.substr(guid + 7, 36)));
}

std::uint64_t setting(const char* name, std::uint64_t otherwise) {
    const char* const value = std::getenv(name);  // NOLINT(concurrency-mt-unsafe): there is one thread so far
    return value == nullptr ? otherwise : std::strtoull(value, nullptr, 10);
}

}  // namespace

TEST(StormTest, EveryAcceptedTextComesBackOnceInEveryLife) {
    const std::uint64_t lives = setting("NORVANEPI_STORM_LIVES", 16);
    const std::uint64_t messages = setting("NORVANEPI_STORM_MESSAGES", 8'000);
    const std::uint64_t seed = setting("NORVANEPI_STORM_SEED", 0);
    const WorkingDirectory directory;
    for (std::uint64_t life = 0; life < lives && !HasFailure(); ++life) {
        SCOPED_TRACE("life " + std::to_string(life));
        // What is never fetched adds up from life to life: now and then one begins with nothing.
        if (life % kLivesOfAState == 0) (void)std::remove("norvanepi_state.xml");
        Life(seed + life, messages / lives).run();
    }
    EXPECT_GT(Life::all_documents, lives);
    std::printf("lives %llu  accepted and given back %llu  documents from the module %llu\n",
                static_cast<unsigned long long>(lives), static_cast<unsigned long long>(Life::all_accepted),
                static_cast<unsigned long long>(Life::all_documents));
}
