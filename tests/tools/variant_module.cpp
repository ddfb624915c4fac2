// A faulty variant of the module. It wraps the built module (NORVANEPI_SOUND_MODULE) in a layer that adds one
// fault (NORVANEPI_FAULT, a name from variant_faults.h).

#include "tests/tools/variant_faults.h"

#include <algorithm>
#include <atomic>
#include <boost/dll/shared_library.hpp>
#include <cfenv>
#include <chrono>
#include <clocale>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <map>
#include <memory>
#include <mutex>
#include <stdexcept>
#include <string>
#include <thread>
#include <vector>

#ifndef _WIN32
#include <sys/resource.h>
#include <sys/stat.h>
#endif

#include "norvanepi.h"

namespace {

namespace fs = std::filesystem;
using variants::Fault;
using variants::Kind;

constexpr const char* kStateFile = "norvanepi_state.xml";

const Fault& chosen() {
    static const Fault fault = [] {
        const char* const name = std::getenv("NORVANEPI_FAULT");
        const auto* const found = std::ranges::find_if(
            variants::kFaults, [&](const Fault& each) { return name != nullptr && each.name == name; });
        if (found == variants::kFaults.end() && name != nullptr) std::abort();
        return name == nullptr ? Fault{"", Kind::kNone, "", "", 0, ""} : *found;
    }();
    return fault;
}

bool fault_is(Kind kind, std::string_view text = {}) {
    return chosen().kind == kind &&
           (text.data() == nullptr || text.find(chosen().where) != std::string_view::npos);
}

bool replace(std::string& text) {
    bool hit = false;
    for (std::size_t at = 0; (at = text.find(chosen().where, at)) != std::string::npos;
         at += chosen().to.size()) {
        text.replace(at, chosen().where.size(), chosen().to);
        hit = true;
    }
    return hit;
}

std::string text_of(const fs::path& file) {
    std::ifstream in(file, std::ios::binary);
    return {std::istreambuf_iterator<char>(in), {}};
}

void write(const fs::path& file, const std::string& text) {
    std::ofstream(file, std::ios::binary) << text;
}

void flip(const fs::path& file) {
    std::string text = text_of(file);
    if (text.empty()) return;
    const auto at =
        chosen().offset < 0 ? static_cast<std::int64_t>(text.size()) + chosen().offset : chosen().offset;
    text.at(static_cast<std::size_t>(at)) ^= '\x01';
    write(file, text);
}

using EntryPoint = std::int32_t(const void*, void*);

EntryPoint* sound(const char* name) {
    static const boost::dll::shared_library module(std::getenv("NORVANEPI_SOUND_MODULE"));
    return &module.get<EntryPoint>(name);
}

norvanepi_host_callback* host = nullptr;
std::mutex mutex;
std::map<const char*, std::pair<const char*, std::unique_ptr<std::string>>>
    changed;                              // messages by the address of the changed copy
std::string recording, clip, clip_bytes;  // of the current conversion
norvanepi_host_request delayed;
std::string delayed_text;
norvanepi_host_request first;  // the module's first document
std::string first_text;

/// Corrupts the files of a conversion before the recorder reads them.
void corrupt_files() {
    if (recording.empty()) return;
    if (fault_is(Kind::kFlipData)) flip(recording);
    if (fault_is(Kind::kFlipIndex)) flip(recording + "i");
    if (fault_is(Kind::kCutIndex)) {
        const auto size = fs::file_size(recording + "i");
        fs::resize_file(recording + "i", size - static_cast<std::uintmax_t>(chosen().offset));
    }
    if (fault_is(Kind::kCutLong)) {
        constexpr std::uintmax_t kHeaderSize = 1088;
        constexpr std::uintmax_t kEntrySize = 32;
        const auto size = kHeaderSize + static_cast<std::uintmax_t>(chosen().offset) * kEntrySize;
        if (fs::file_size(recording + "i") > size) fs::resize_file(recording + "i", size);
    }
    if (fault_is(Kind::kMove, recording)) {
        std::string moved = recording;
        (void)replace(moved);
        fs::create_directories(fs::path(moved).parent_path());
        for (const char* end : {"", "i"}) fs::rename(recording + end, moved + end);
    }
    if (fault_is(Kind::kMode, "data")) fs::permissions(recording, static_cast<fs::perms>(chosen().offset));
    if (fault_is(Kind::kMode, "index"))
        fs::permissions(recording + "i", static_cast<fs::perms>(chosen().offset));
    if (fault_is(Kind::kKeepClip)) write(clip, clip_bytes);
    recording.clear();
}

/// The path in a log line that starts with `lead`.
std::string path_in(std::string text, const std::string& lead) {
    const auto at = text.find(lead);
    if (at == std::string::npos) return {};
    text = text.substr(at + lead.size());
    for (const auto& [from, to] : {std::pair{"&lt;", "<"}, {"&gt;", ">"}, {"&amp;", "&"}}) {
        for (std::size_t i = 0; (i = text.find(from, i)) != std::string::npos; ++i)
            text.replace(i, std::string_view(from).size(), to);
    }
    return text.substr(0, text.rfind(".\n"));
}

void note_conversion(const std::string& text) {
    if (const auto path = path_in(text, "Parsing mp4 container - "); !path.empty()) {
        clip = path;
        clip_bytes = text_of(path);
    }
    if (const auto path = path_in(text, "Opened (and PSI) "); !path.empty()) recording = path;
}

std::int32_t return_message(norvanepi_host_request request, norvanepi_host_reply* reply) {
    corrupt_files();
    std::string text;
    {
        const std::lock_guard lock(mutex);
        const auto found = changed.find(request.data);
        if (found != changed.end()) {
            text = *found->second.second;
            request.data = found->second.first;
            if (!fault_is(Kind::kReturnCopy)) changed.erase(found);
        }
    }
    if (fault_is(Kind::kKeepMessage, text)) return 0;
    if (fault_is(Kind::kReturnCopy)) request.data = text.c_str();
    if (fault_is(Kind::kRepeat) && chosen().where.empty()) host(&request, reply);
    const std::int32_t result = host(&request, reply);
    if (fault_is(Kind::kWriteReturned)) const_cast<char*>(request.data)[0] = 'x';
    return result;
}

std::int32_t send_document(norvanepi_host_request request, std::string text, norvanepi_host_reply* reply) {
    note_conversion(text);
    if (fault_is(Kind::kDropDocument, text)) return 0;
    if (fault_is(Kind::kReplaceInDocument) && replace(text))
        request.length = static_cast<std::uint32_t>(text.size()) + 1;
    if (fault_is(Kind::kUncountedNul, text)) --request.length;
    if (fault_is(Kind::kDelayDocument, text)) {
        delayed = request;
        delayed_text = text;
        return 0;
    }
    request.data = text.c_str();
    if (fault_is(Kind::kSendOnOtherThread, text)) {
        std::thread([&] { host(&request, reply); }).join();
        return 0;
    }
    if (fault_is(Kind::kRepeat, text) && !chosen().where.empty()) host(&request, reply);
    const std::int32_t result = host(&request, reply);
    if (fault_is(Kind::kLogFailure) && result != 0) host(&request, reply);
    if (delayed_text.empty()) return result;
    delayed.data = delayed_text.c_str();
    host(&delayed, reply);
    delayed_text.clear();
    return result;
}

/// Held in the callback and in Write.
std::mutex lock_for_others;
std::recursive_mutex lock_for_own;  // a thread that holds it already passes

template <typename Call>
std::int32_t locked(Call call) {
    std::unique_lock others(lock_for_others, std::defer_lock);
    std::unique_lock own(lock_for_own, std::defer_lock);
    if (fault_is(Kind::kLock, "same")) others.lock();
    if (fault_is(Kind::kLock, "other")) own.lock();
    return call();
}

std::int32_t on_call(const norvanepi_host_request* request, norvanepi_host_reply* reply) {
    norvanepi_host_request copy = *request;
    const bool release = request->message_class == NORVANEPI_CLASS_RELEASE;
    if (!release && first_text.empty()) {
        first = *request;
        first_text = request->data;
    }
    if (fault_is(Kind::kFlipReply)) reinterpret_cast<unsigned char*>(reply)[chosen().offset] ^= 0x40U;
    if (fault_is(Kind::kFlipRelease) && release)
        reinterpret_cast<unsigned char*>(&copy)[chosen().offset] ^= 0x10U;
    const std::string text = release ? "" : request->data;
    if (fault_is(Kind::kFlipRequest, text) && (!release || chosen().where.empty()))
        reinterpret_cast<unsigned char*>(&copy)[chosen().offset] ^= 0x40U;
    return locked([&] { return release ? return_message(copy, reply) : send_document(copy, text, reply); });
}

/// Sends the module's first document again.
void send_first() {
    norvanepi_host_request request = first;
    norvanepi_host_reply reply{12, 1, 0};
    request.data = first_text.c_str();
    if (host != nullptr && !first_text.empty()) host(&request, &reply);
}

char volatile_byte(const volatile char* byte) {
    return *byte;
}

/// Replaces the message by a changed copy, which is kept until the module returns it.
template <typename Request>
void change_message(Request& request) {
    if (request.length > INT32_MAX) {
        if (fault_is(Kind::kReadText, "long")) (void)volatile_byte(request.text + request.length - 1);
        return;
    }
    const bool past = fault_is(Kind::kReadText, "past") && request.length > 0;
    auto text = std::make_unique<std::string>(request.text == nullptr ? "" : request.text,
                                              request.length + (past ? 1U : 0U));
    if (fault_is(Kind::kWriteText)) {
        const auto end = static_cast<std::int64_t>(request.length);
        const_cast<char*>(request.text)[std::min(chosen().offset, end)] ^= '\x01';
    }
    if (fault_is(Kind::kCrash, *text)) std::raise(SIGSEGV);
    if (fault_is(Kind::kReplaceInMessage)) (void)replace(*text);
    const char* const original = request.text;
    request.text = text->c_str();
    request.length = static_cast<std::uint32_t>(text->size());
    const std::lock_guard lock(mutex);
    changed.emplace(request.text, std::pair{original, std::move(text)});
}

void change_setting() {
    if (chosen().where == "locale") std::setlocale(LC_ALL, "C.UTF-8");
    if (chosen().where == "directory") fs::current_path("recordings");
    if (chosen().where == "rounding") std::fesetround(FE_UPWARD);
#ifndef _WIN32
    if (chosen().where == "umask") ::umask(077);
    if (chosen().where == "signal") std::signal(SIGPIPE, SIG_IGN);
    if (chosen().where == "mask") {
        ::sigset_t set;
        ::sigemptyset(&set);
        ::sigaddset(&set, SIGTERM);
        ::pthread_sigmask(SIG_BLOCK, &set, nullptr);
    }
    if (chosen().where == "environment") ::setenv("NORVANEPI_OPEN", "1", 1);
    if (chosen().where == "TZ") ::setenv("TZ", "UTC0", 1);
    if (chosen().where == "limit") {
        struct ::rlimit limit {};
        ::getrlimit(RLIMIT_NOFILE, &limit);
        --limit.rlim_cur;
        ::setrlimit(RLIMIT_NOFILE, &limit);
    }
#endif
}

void leak() {
    if (chosen().to == "thread")
        std::thread([] { std::this_thread::sleep_for(std::chrono::hours(1)); }).detach();
    if (chosen().to == "descriptor") (void)std::fopen(std::getenv("NORVANEPI_SOUND_MODULE"), "rb");
    if (chosen().to == "memory") {
        static std::vector<std::unique_ptr<std::string>> kept;
        kept.push_back(std::make_unique<std::string>(static_cast<std::size_t>(chosen().offset) * 1024, 'x'));
    }
}

std::atomic<bool> idle = false;
std::thread busy;

void start_busy_thread() {
    idle = true;
    busy = std::thread([] {
        while (idle) {
            if (chosen().offset > 0) std::this_thread::sleep_for(std::chrono::milliseconds(chosen().offset));
        }
    });
}

void end_busy_thread() {
    idle = false;
    if (busy.joinable()) busy.join();
}

/// What a call does besides its work.
void misbehave(const char* name, const void* input) {
    if (fault_is(Kind::kSetting) && name == std::string_view("Open")) change_setting();
    if (fault_is(Kind::kPrint) && name == std::string_view("Open")) {
        std::FILE* const stream = chosen().offset == 1 ? stdout : stderr;
        (void)std::fprintf(stream, "%s\n", std::string(chosen().to).c_str());
    }
    if (fault_is(Kind::kReadUnused, name) && input != nullptr)
        (void)volatile_byte(static_cast<const char*>(input));
    if (fault_is(Kind::kBusy) && name == std::string_view("Open")) start_busy_thread();
    if (fault_is(Kind::kBusy) && name == std::string_view("Close")) end_busy_thread();
    if (chosen().where != name) return;
    switch (chosen().kind) {
        case Kind::kHang:
            for (;;) std::this_thread::sleep_for(std::chrono::hours(1));
        case Kind::kSlow:
            return std::this_thread::sleep_for(std::chrono::seconds(3));
        case Kind::kThrow:
            throw std::runtime_error("a planted fault");
        case Kind::kExit:
            std::exit(0);
        case Kind::kLeak:
            return leak();
        case Kind::kSendBefore:
            return send_first();
        case Kind::kWriteInput:
            static_cast<unsigned char*>(const_cast<void*>(input))[chosen().offset] ^= 0xFFU;
            return;
        default:
            return;
    }
}

std::int32_t call(const char* name, const void* input, void* output) {
    static unsigned char* late = nullptr;
    if (late != nullptr) late[chosen().offset] ^= 0xFFU;
    late = fault_is(Kind::kWriteLate, name) ? static_cast<unsigned char*>(output) : nullptr;
    misbehave(name, input);
    const std::int32_t result = sound(name)(input, output);
    if (chosen().where != name) return result;
    if (fault_is(Kind::kFlipOutput) && output != nullptr)
        static_cast<unsigned char*>(output)[chosen().offset] ^= 0xFFU;
    if (fault_is(Kind::kSendIn)) send_first();
    return fault_is(Kind::kReturn) ? static_cast<std::int32_t>(chosen().offset) : result;
}

std::thread::id opening_thread;

void run_main_loop() {
    norvanepi_ioctl_request request{};
    request.code = NORVANEPI_RUN_MAIN_LOOP;
    (void)sound("IOCTL")(&request, nullptr);
}

/// Starts and ends with the library.
struct Library {
    static void act(std::string_view when) {
        if (!fault_is(Kind::kAtLibrary, when)) return;
        if (chosen().to == "crash") std::raise(SIGSEGV);
        if (chosen().to == "exit") std::exit(0);
        if (chosen().to == "print") std::puts("the end");
    }
    Library() { act("start"); }
    ~Library() { act("end"); }
};
const Library library;

/// The text of the state file with its name changed in the meantime, so that it is another file.
void replace_state(const std::string& text) {
    write("new.xml", text);
    fs::rename("new.xml", kStateFile);
}

}  // namespace

extern "C" {

std::int32_t Load(const norvanepi_host_info* input, void* output) {
    if (host == nullptr || !fault_is(Kind::kFirstCallback)) host = input->callback;
    norvanepi_host_info info = *input;
    if (host != nullptr) info.callback = on_call;
    if (fault_is(Kind::kWriteInput, "Load")) return call("Load", input, output);
    return call("Load", &info, output);
}

std::int32_t Unload(const void* input, void* output) {
    return call("Unload", input, output);
}

std::int32_t Open(const void* input, void* output) {
    const std::string before = text_of(kStateFile);
    opening_thread = std::this_thread::get_id();
    if (fault_is(Kind::kLeaveFile)) write(std::string(chosen().where), "left");
    const std::int32_t result = call("Open", input, output);
    if (fault_is(Kind::kKeepState) && !before.empty()) write(kStateFile, before);
    return result;
}

std::int32_t Close(const void* input, void* output) {
    if (fault_is(Kind::kEarlyEnd, "Close")) {
        static_cast<norvanepi_close_result*>(output)->status = 0;
        std::thread([] { (void)sound("Close")(nullptr, nullptr); }).detach();
        return 0;
    }
    if (fault_is(Kind::kStateInPlace)) fs::create_hard_link(kStateFile, "kept.xml");
    const std::int32_t result = call("Close", input, output);
    if (fault_is(Kind::kStateInPlace)) {
        const std::string text = text_of(kStateFile);
        fs::rename("kept.xml", kStateFile);
        write(kStateFile, text);
    }
    if (fault_is(Kind::kStateUnflushed)) replace_state(text_of(kStateFile));
    if (fault_is(Kind::kMode, "state")) fs::permissions(kStateFile, static_cast<fs::perms>(chosen().offset));
    if (fault_is(Kind::kNoState)) fs::remove(kStateFile);
    if (fault_is(Kind::kReplaceInState)) {
        std::string text = text_of(kStateFile);
        (void)replace(text);
        write(kStateFile, text);
    }
    return result;
}

std::int32_t Read(const void* input, void* output) {
    return call("Read", input, output);
}

std::int32_t Seek(const void* input, void* output) {
    return call("Seek", input, output);
}

std::int32_t Write(const norvanepi_write_request* input, void* output) {
    if (fault_is(Kind::kOneThread) && std::this_thread::get_id() != opening_thread) {
        static_cast<norvanepi_write_result*>(output)->status = NORVANEPI_REFUSED;
        return 0;
    }
    if (fault_is(Kind::kReadText, "refused") && input->refused != 0) (void)volatile_byte(input->text);
    static const norvanepi_write_request* kept = nullptr;
    if (fault_is(Kind::kReadLate) && kept != nullptr) (void)volatile_byte(kept->text);
    kept = input;
    if (fault_is(Kind::kWriteInput, "Write")) return call("Write", input, output);
    norvanepi_write_request request = *input;
    if (fault_is(Kind::kClearInput) && chosen().where == "Write")
        reinterpret_cast<unsigned char*>(&request)[chosen().offset] = 0;
    if (request.refused == 0 && request.identifier != NORVANEPI_MODULE_ID) change_message(request);
    return locked([&] { return call("Write", &request, output); });
}

std::int32_t IOCTL(const norvanepi_ioctl_request* input, void* output) {
    if (fault_is(Kind::kWriteInput, "IOCTL") || input == nullptr) return call("IOCTL", input, output);
    if (input->code == NORVANEPI_RUN_MAIN_LOOP) {
        static std::atomic<int> loops = 0;
        if (fault_is(Kind::kSecondLoop) && loops++ > 0) std::this_thread::sleep_for(std::chrono::hours(1));
        if (fault_is(Kind::kEarlyEnd, "IOCTL")) {
            static_cast<norvanepi_ioctl_result*>(output)->status = 0;
            std::thread([] { run_main_loop(); }).detach();
            return 0;
        }
    }
    if (input->code != NORVANEPI_QUEUE_MESSAGE) return call("IOCTL", input, output);
    norvanepi_ioctl_request request = *input;
    change_message(request);
    return call("IOCTL", &request, output);
}

}  // extern "C"
