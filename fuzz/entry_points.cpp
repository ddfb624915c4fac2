// Random calls of the eight entry points by a host that misbehaves: in any order, from inside the callback
// and in the middle of the main loop, with a callback that fails and throws. Everything runs on one thread:
// where the module sleeper, the rest of the host goes on. Every buffer that was accepted has to come back
// exactly once.

#include <tinyxml2.h>

#include <boost/uuid/string_generator.hpp>
#include <map>
#include <memory>
#include <stdexcept>

#include "fuzz/host_messages.h"
#include "fuzz/require.h"
#include "platform/system.h"
#include "plugin/interfaces/host_records.h"
#include "plugin/interfaces/record_access.h"
#include "tests/support/clips.h"
#include "tests/support/fake_time.h"
#include "tests/support/memory_files.h"

namespace hr = host_records;

extern "C" {
std::int32_t Load(const void* input, void* output);
std::int32_t Unload(const void* input, void* output);
std::int32_t Open(const void* input, void* output);
std::int32_t Close(const void* input, void* output);
std::int32_t Read(const void* input, void* output);
std::int32_t Write(const void* input, void* output);
std::int32_t Seek(const void* input, void* output);
std::int32_t IOCTL(const void* input, void* output);
}

namespace {

using EntryPoint = std::int32_t (*)(const void*, void*);

class Host;
Host* the_host = nullptr;

/// A record of the host on the heap, as short as its layout says, so that a byte behind it is not touched.
template <typename Layout>
struct Record {
    std::unique_ptr<typename Layout::Bytes> bytes = std::make_unique<typename Layout::Bytes>();

    template <typename Field, typename T>
    void put(T value) const {
        Field::put(typename Layout::MutableView(*bytes), value);
    }
    template <typename Field>
    [[nodiscard]] auto get() const {
        return Field::get(typename Layout::View(*bytes));
    }
};

/// Calls and gives the record that was filled.
template <typename Output>
Record<Output> call(EntryPoint entry_point, const void* input = nullptr) {
    Record<Output> output;
    require(entry_point(input, output.bytes.get()) == 0, "an entry point returns 0");
    return output;
}

class Host final : public platform::Sleeper {
  public:
    explicit Host(std::span<const std::uint8_t> bytes) : in_(bytes) {
        the_host = this;
        files.output.data_room = 65'536;
    }

    void run() {
        while (!in_.empty()) act();
        rowdy_ = false;
        close(Unload);
    }

    void sleep(std::chrono::milliseconds) override { go_on(); }
    bool wait_for(std::condition_variable&, std::unique_lock<std::mutex>& lock, std::chrono::milliseconds,
                  const std::function<bool()>& ready) override {
        if (ready()) return true;
        lock.unlock();
        go_on();
        lock.lock();
        return ready();
    }

    MemoryFiles files;
    FakeClock clock;

  private:
    static constexpr int kDeepest = 6;  // calls inside calls

    /// A text that the module holds. It is owed back unless there was a time without a callback.
    struct Loan {
        std::unique_ptr<char[]> text;
        int number = 0;
        bool owed = true;
    };

    static std::int32_t callback(const void* request, void* reply) { return the_host->take(request, reply); }

    std::int32_t take(const void* request, void* reply) {
        const hr::Input<hr::HostRequest> in(request);
        const auto* data = hr::pointer_of<const char*>(in.get<hr::HostRequest::Data>());
        const bool is_release = in.get<hr::HostRequest::MessageClass>() == NORVANEPI_CLASS_RELEASE;
        if (!is_release) hear({data, in.get<hr::HostRequest::Length>()});
        if (is_release) require(loans_.erase(data) == 1, "a buffer was released that was not held");
        return rowdy_ ? misbehave(hr::Output<hr::HostReply>(reply)) : 0;
    }

    void hear(std::string_view text) {
        tinyxml2::XMLDocument document;
        require(text.ends_with('\0') && document.Parse(text.data()) == tinyxml2::XML_SUCCESS,
                "a bad document");
        const std::size_t at = text.find("GUID=\"");
        if (at == std::string_view::npos) return;
        guids_.push_back(boost::uuids::string_generator()(std::string(text.substr(at + 6, 36))));
    }

    std::int32_t misbehave(const hr::Output<hr::HostReply>& reply) {
        switch (in_.below(16)) {
            case 1:
                reply.put<hr::HostReply::Result>(5U);
                return -1;
            case 2:
                throw std::runtime_error("the host's own");
            case 3:
                throw 7;
            case 4:
            case 5:
                act();
                return 0;
            default:
                return 0;
        }
    }

    /// Another thread's turn, as it were. Out of ideas the host closes, which ends every loop.
    void go_on() {
        if (in_.empty() || depth_ >= kDeepest) {
            call<hr::CloseResult>(Close);
        } else {
            act();
        }
    }

    void act() {
        if (depth_ >= kDeepest) return;
        ++depth_;
        constexpr void (Host::*kActs[])() = {
            &Host::load, &Host::open,  &Host::shut,  &Host::ask,  &Host::change_the_world,
            &Host::work, &Host::write, &Host::write, &Host::write};
        (this->*in_.pick(kActs))();
        --depth_;
    }

    void load() {
        deaf_ = in_.chance(8);
        for (auto& [text, loan] : loans_) loan.owed &= !deaf_;
        const Record<hr::HostInfo> input;
        const auto address = hr::address_of(reinterpret_cast<const void*>(&callback));
        input.put<hr::HostInfo::Callback>(deaf_ ? 0 : address);
        const auto info = call<hr::ModuleInfo>(Load, input.bytes.get());
        require(info.get<hr::ModuleInfo::Identifier>() == hr::kModuleId, "the module says who it is");
    }

    void open() { call<hr::OpenResult>(Open); }
    void shut() { close(in_.chance(128) ? Unload : Close); }

    void close(EntryPoint entry_point) {
        const int before = next_loan_;  // a host may open anew from inside its callback
        call<hr::CloseResult>(entry_point);
        if (depth_ > 1) return;  // a pass of the loop may be under way
        for (const auto& [text, loan] : loans_)
            require(!loan.owed || loan.number >= before, "a buffer was not given back");
    }

    void ask() {
        call<hr::ReadResult>(Read);
        call<hr::SeekResult>(Seek);
        control(in_.byte() | 4U);
        for (const EntryPoint entry_point : {Open, Read, Seek, IOCTL, Close, Unload}) {
            if (in_.chance(8)) require(entry_point(nullptr, nullptr) == 0, "nulls are taken like zeros");
        }
    }

    void work() { control(hr::kRunMainLoop); }

    Record<hr::IoctlResult> control(std::uint32_t code, const char* text = nullptr,
                                    std::uint32_t length = 0) {
        const Record<hr::IoctlRequest> input;
        input.put<hr::IoctlRequest::Code>(code);
        input.put<hr::IoctlRequest::Length>(length);
        input.put<hr::IoctlRequest::Text>(hr::address_of(text));
        return call<hr::IoctlResult>(IOCTL, input.bytes.get());
    }

    void change_the_world() {
        const std::size_t what = in_.below(8);
        const std::uint8_t how = in_.byte();
        if (what == 0) rowdy_ = !rowdy_;
        if (what == 1) files.directory_error.assign(how % 3, boost::system::generic_category());
        if (what == 2) files.input_throws_at = how < 128 ? how : kNever;
        if (what == 3) files.failing_removals = how % 3;
        if (what == 4) files.put("norvanepi_state.xml", in_.text());
        if (what >= 5) files.put("tmp/a.mp4", make_clip(ClipTrack{.samples = {nal("first"), nal("second")}}));
    }

    void write() {
        const std::string text = host_message(in_, guids_);
        auto copy = std::make_unique<char[]>(text.size());  // no byte longer than it says
        std::ranges::copy(text, copy.get());
        const char* const lent = copy.get();
        const std::uint8_t how = in_.byte();
        const auto length = how == 1 ? 0x80000000U : static_cast<std::uint32_t>(text.size());
        loans_[lent] = {std::move(copy), next_loan_++, !deaf_};
        if (how < 224 ? send(lent, length, how) : queue(lent, length)) return;
        require(loans_.erase(lent) == 1, "what is refused is not released");
    }

    bool send(const char* text, std::uint32_t length, std::uint8_t how) {
        const Record<hr::WriteRequest> input;
        input.put<hr::WriteRequest::Refused>(static_cast<std::uint8_t>(how == 2));
        input.put<hr::WriteRequest::Identifier>(how == 3 ? hr::kModuleId : 1);
        input.put<hr::WriteRequest::Length>(length);
        input.put<hr::WriteRequest::Text>(hr::address_of(text));
        return call<hr::WriteResult>(Write, input.bytes.get()).get<hr::WriteResult::Count>() == 1;
    }

    bool queue(const char* text, std::uint32_t length) {
        return control(hr::kQueueMessage, text, length).get<hr::IoctlResult::Count>() == 1;
    }

    ByteSource in_;
    std::map<const char*, Loan> loans_;
    int next_loan_ = 0;
    std::vector<norvane::Guid> guids_;
    int depth_ = 0;
    bool deaf_ = true;
    bool rowdy_ = false;
};

}  // namespace

// The module asks for its system by these names: linked into this program, they take the real one's place.
namespace platform {

FileSystem& system_files() {
    return the_host->files;
}
Sleeper& system_sleeper() {
    return *the_host;
}
const Clock& system_clock() {
    return the_host->clock;
}

}  // namespace platform

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    Host({data, size}).run();
    return 0;
}
