// Random calls of the eight entry points by a host that misbehaves: in any order, from inside the callback
// and in the middle of the main loop, with a callback that fails and throws. Everything runs on one thread:
// where the module waits, the rest of the host goes on. Every buffer that was accepted has to come back
// exactly once.

#include <tinyxml2.h>

#include <boost/uuid/string_generator.hpp>
#include <map>
#include <memory>
#include <stdexcept>

#include "fuzz/host_messages.h"
#include "fuzz/require.h"
#include "platform/system.h"
#include "plugin/host_records.h"
#include "plugin/record_access.h"
#include "tests/support/clip_builder.h"
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

/// A record of the host, as short as its layout says, so that a byte written behind it is seen.
template <typename Layout>
class Record {
  public:
    template <typename Field, typename T>
    void put(T value) {
        Field::put(typename Layout::MutableView(*bytes_), value);
    }
    template <typename Field>
    [[nodiscard]] auto get() const {
        return Field::get(typename Layout::View(*bytes_));
    }
    [[nodiscard]] typename Layout::Bytes* data() { return bytes_.get(); }

  private:
    std::unique_ptr<typename Layout::Bytes> bytes_ = std::make_unique<typename Layout::Bytes>();
};

class Host final : public platform::Waits {
  public:
    explicit Host(std::span<const std::uint8_t> bytes) : in_(bytes) {
        the_host = this;
        clock.set_seconds(2'000'000);
        files.output.data_room = 65'536;
    }
    Host(const Host&) = delete;
    Host& operator=(const Host&) = delete;
    ~Host() override { the_host = nullptr; }

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
        bool owed = true;
    };

    static std::int32_t callback(const void* request, void* reply) { return the_host->take(request, reply); }

    std::int32_t take(const void* request, void* reply) {
        const hr::Input<hr::HostRequest> in(request);
        const auto* data = hr::pointer_of<const char*>(in.get<hr::HostRequest::Data>());
        require(in.get<hr::HostRequest::Identifier>() == hr::kModuleId, "a request names the module");
        if (in.get<hr::HostRequest::MessageClass>() != names::kReleaseClass) {
            hear({data, in.get<hr::HostRequest::Length>()});
        } else if (data == nullptr) {
            require(nulls_-- > 0, "no text was released once too often");
        } else {
            require(loans_.erase(data) == 1, "a buffer was released that was not held");
        }
        return rowdy_ ? misbehave(hr::Output<hr::HostReply>(reply)) : 0;
    }

    void hear(std::string_view text) {
        require(text.ends_with('\0'), "a document is terminated");
        tinyxml2::XMLDocument document;
        require(document.Parse(text.data()) == tinyxml2::XML_SUCCESS, "a document can be read");
        constexpr std::string_view kGuid = "GUID=\"";
        const std::size_t at = text.find(kGuid);
        if (at == std::string_view::npos) return;
        guids_.push_back(boost::uuids::string_generator()(std::string(text.substr(at + kGuid.size(), 36))));
    }

    std::int32_t misbehave(const hr::Output<hr::HostReply>& reply) {
        switch (in_.below(16)) {
            case 1:
                reply.put<hr::HostReply::Result>(5U);
                return 0;
            case 2:
                return -1;
            case 3:
                throw std::runtime_error("the host's own");
            case 4:
                throw 7;
            case 5:
            case 6:
                act();
                return 0;
            default:
                return 0;
        }
    }

    /// Another thread's turn, as it were. Out of ideas the host closes, which ends every loop.
    void go_on() {
        if (in_.empty() || depth_ >= kDeepest) {
            call(Close, Record<hr::CloseResult>());
        } else {
            act();
        }
    }

    void act() {
        if (depth_ >= kDeepest) return;
        ++depth_;
        constexpr void (Host::*kActs[])() = {
            &Host::load, &Host::open,  &Host::shut,  &Host::ask_nothing, &Host::change_the_world,
            &Host::work, &Host::write, &Host::write, &Host::write};
        (this->*in_.pick(kActs))();
        --depth_;
    }

    template <typename Layout>
    void call(EntryPoint entry_point, Record<Layout> output) {
        require(entry_point(nullptr, output.data()) == 0, "an entry point returns 0");
    }

    void load() {
        const bool deaf = in_.chance(8);
        Record<hr::HostInfo> input;
        if (!deaf)
            input.put<hr::HostInfo::Callback>(hr::address_of(reinterpret_cast<const void*>(&callback)));
        Record<hr::ModuleInfo> output;
        deaf_ = deaf;
        for (auto& [text, loan] : loans_) loan.owed &= !deaf;
        require(Load(input.data(), output.data()) == 0, "Load returns 0");
        require(output.get<hr::ModuleInfo::Identifier>() == hr::kModuleId, "the module says who it is");
    }

    void open() { call(Open, Record<hr::OpenResult>()); }
    void shut() { close(in_.chance(128) ? Unload : Close); }

    void close(EntryPoint entry_point) {
        call(entry_point, Record<hr::CloseResult>());
        if (depth_ > 1) return;  // a pass of the loop may be under way
        for (const auto& [text, loan] : loans_) require(!loan.owed, "a buffer was not given back");
    }

    void ask_nothing() {
        call(Read, Record<hr::ReadResult>());
        call(Seek, Record<hr::SeekResult>());
        if (!in_.chance(16)) return;
        nulls_ += 2;  // Write and IOCTL without records may be taken for messages without a text
        for (const EntryPoint entry_point : {Load, Open, Read, Write, Seek, IOCTL, Close, Unload})
            require(entry_point(nullptr, nullptr) == 0, "nulls are taken like zeros");
        deaf_ = true;
        for (auto& [text, loan] : loans_) loan.owed = false;
    }

    void work() {
        Record<hr::IoctlRequest> input;
        input.put<hr::IoctlRequest::Code>(in_.chance(16) ? in_.byte() : hr::kRunMainLoop);
        if (input.get<hr::IoctlRequest::Code>() == hr::kQueueMessage) ++nulls_;
        Record<hr::IoctlResult> output;
        require(IOCTL(input.data(), output.data()) == 0, "IOCTL returns 0");
    }

    void change_the_world() {
        switch (in_.below(8)) {
            case 0:
                rowdy_ = !rowdy_;
                break;
            case 1:
                files.directory_error = boost::system::error_code(static_cast<int>(in_.below(3)),
                                                                  boost::system::generic_category());
                break;
            case 2:
                files.input_throws_at = in_.chance(128) ? in_.byte() : kNever;
                break;
            case 3:
                files.failing_removals = static_cast<int>(in_.below(3));
                break;
            case 4:
                files.put("norvanepi_state.xml", in_.text());
                break;
            default:
                files.put("tmp/a.mp4", make_clip(ClipTrack{.samples = {nal("first"), nal("second")}}));
        }
    }

    void write() {
        const std::string text = host_message(in_, guids_);
        const std::uint8_t how = in_.byte();
        auto copy = std::make_unique<char[]>(text.size());  // no byte longer than it says
        std::ranges::copy(text, copy.get());
        const char* const lent = how < 8 && how > 0 ? nullptr : copy.get();
        const auto length = how >= 8 && how < 16 ? 0x80000000U : static_cast<std::uint32_t>(text.size());
        if (lent == nullptr) ++nulls_;
        if (lent != nullptr) loans_[lent] = {std::move(copy), !deaf_};
        if (how >= 192 ? queue(lent, length) : send(lent, length, how)) return;
        if (lent == nullptr) --nulls_;
        loans_.erase(lent);
    }

    bool send(const char* text, std::uint32_t length, std::uint8_t how) {
        Record<hr::WriteRequest> input;
        Record<hr::WriteResult> output;
        input.put<hr::WriteRequest::Refused>(static_cast<std::uint8_t>(how == 16));
        input.put<hr::WriteRequest::Identifier>(how == 17 ? hr::kModuleId : 1);
        input.put<hr::WriteRequest::Length>(length);
        input.put<hr::WriteRequest::Text>(hr::address_of(text));
        require(Write(input.data(), output.data()) == 0, "Write returns 0");
        const bool accepted = output.get<hr::WriteResult::Count>() == 1;
        require(!accepted || output.get<hr::WriteResult::Status>() == hr::kAccepted,
                "count and status agree");
        return accepted;
    }

    bool queue(const char* text, std::uint32_t length) {
        Record<hr::IoctlRequest> input;
        Record<hr::IoctlResult> output;
        input.put<hr::IoctlRequest::Code>(hr::kQueueMessage);
        input.put<hr::IoctlRequest::Length>(length);
        input.put<hr::IoctlRequest::Text>(hr::address_of(text));
        require(IOCTL(input.data(), output.data()) == 0, "IOCTL returns 0");
        return output.get<hr::IoctlResult::Count>() == 1;
    }

    ByteSource in_;
    std::map<const char*, Loan> loans_;
    int nulls_ = 0;  // messages without a text that may still come back
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
Waits& system_waits() {
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
