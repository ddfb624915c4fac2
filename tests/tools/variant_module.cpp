// A faulty variant of the module. It wraps the built module (NORVANEPI_SOUND_MODULE) in a layer that adds one
// fault (NORVANEPI_FAULT, a name from variant_faults.h).

#include "tests/tools/variant_faults.h"

#include <algorithm>
#include <boost/dll/shared_library.hpp>
#include <chrono>
#include <csignal>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <map>
#include <memory>
#include <mutex>
#include <string>
#include <thread>

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

/// Corrupts the files of a conversion before the recorder reads them.
void corrupt_files() {
    if (recording.empty()) return;
    if (fault_is(Kind::kFlipData)) flip(recording);
    if (fault_is(Kind::kFlipIndex)) flip(recording + "i");
    if (fault_is(Kind::kCutIndex)) {
        const auto size = fs::file_size(recording + "i");
        fs::resize_file(recording + "i", size - static_cast<std::uintmax_t>(chosen().offset));
    }
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
    return host(&request, reply);
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
    if (delayed_text.empty()) return result;
    delayed.data = delayed_text.c_str();
    host(&delayed, reply);
    delayed_text.clear();
    return result;
}

std::int32_t on_call(const norvanepi_host_request* request, norvanepi_host_reply* reply) {
    norvanepi_host_request copy = *request;
    const bool release = request->message_class == NORVANEPI_CLASS_RELEASE;
    const std::string text = release ? "" : request->data;
    if (fault_is(Kind::kFlipRequest, text) && (!release || chosen().where.empty()))
        reinterpret_cast<unsigned char*>(&copy)[chosen().offset] ^= 0x40U;
    return release ? return_message(copy, reply) : send_document(copy, text, reply);
}

/// Replaces the message by a changed copy, which is kept until the module returns it.
template <typename Request>
void change_message(Request& request) {
    auto text = std::make_unique<std::string>(request.text == nullptr ? "" : request.text, request.length);
    if (fault_is(Kind::kCrash, *text)) std::raise(SIGSEGV);
    if (fault_is(Kind::kReplaceInMessage)) (void)replace(*text);
    const char* const original = request.text;
    request.text = text->c_str();
    request.length = static_cast<std::uint32_t>(text->size());
    const std::lock_guard lock(mutex);
    changed.emplace(request.text, std::pair{original, std::move(text)});
}

std::int32_t call(const char* name, const void* input, void* output) {
    if (fault_is(Kind::kHang, name)) {
        for (;;) std::this_thread::sleep_for(std::chrono::hours(1));
    }
    const std::int32_t result = sound(name)(input, output);
    if (fault_is(Kind::kFlipOutput) && chosen().where == name && output != nullptr)
        static_cast<unsigned char*>(output)[chosen().offset] ^= 0xFFU;
    return result;
}

}  // namespace

extern "C" {

std::int32_t Load(const norvanepi_host_info* input, void* output) {
    host = input->callback;
    norvanepi_host_info info = *input;
    if (host != nullptr) info.callback = on_call;
    return call("Load", &info, output);
}

std::int32_t Unload(const void* input, void* output) {
    return call("Unload", input, output);
}

std::int32_t Open(const void* input, void* output) {
    const std::string before = text_of(kStateFile);
    const std::int32_t result = call("Open", input, output);
    if (fault_is(Kind::kKeepState) && !before.empty()) write(kStateFile, before);
    return result;
}

std::int32_t Close(const void* input, void* output) {
    const std::int32_t result = call("Close", input, output);
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
    norvanepi_write_request request = *input;
    if (fault_is(Kind::kClearInput) && chosen().where == "Write")
        reinterpret_cast<unsigned char*>(&request)[chosen().offset] = 0;
    if (request.refused == 0 && request.identifier != NORVANEPI_MODULE_ID) change_message(request);
    return call("Write", &request, output);
}

std::int32_t IOCTL(const norvanepi_ioctl_request* input, void* output) {
    if (input == nullptr || input->code != NORVANEPI_QUEUE_MESSAGE) return call("IOCTL", input, output);
    norvanepi_ioctl_request request = *input;
    change_message(request);
    return call("IOCTL", &request, output);
}

}  // extern "C"
