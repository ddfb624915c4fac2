#include "tools/recorder/host/checked_calls.h"

#include <algorithm>
#include <array>
#include <atomic>
#include <cstdlib>
#include <deque>
#include <exception>
#include <map>
#include <mutex>
#include <span>
#include <vector>

#include <fmt/format.h>

#include "plugin/interfaces/host_records.h"
#include "plugin/interfaces/record_access.h"
#include "tools/recorder/host/module_fault.h"

namespace recorder {
namespace {

constexpr std::size_t kGuardSize = 64;
constexpr platform::Byte kGuard = 0xC3;
constexpr platform::Byte kEnded = 0x5A;  // an address of these bytes is not valid
constexpr std::size_t kRecordsKept = 256;
constexpr const char* kMainLoop = "IOCTL code 1";

struct EntryPointInfo {
    const char* name;
    host_kit::EntryPoint* host_kit::EntryPoints::*entry_point;
    std::size_t input_size;  // 0: the module does not read the record
    std::size_t output_size;
};

constexpr std::array kEntryPoints = {
    EntryPointInfo{"Load", &host_kit::EntryPoints::load, sizeof(norvanepi_host_info),
                   sizeof(norvanepi_module_info)},
    EntryPointInfo{"Unload", &host_kit::EntryPoints::unload, 0, sizeof(norvanepi_close_result)},
    EntryPointInfo{"Open", &host_kit::EntryPoints::open, 0, sizeof(norvanepi_open_result)},
    EntryPointInfo{"Close", &host_kit::EntryPoints::close, 0, sizeof(norvanepi_close_result)},
    EntryPointInfo{"Read", &host_kit::EntryPoints::read, 0, sizeof(norvanepi_read_result)},
    EntryPointInfo{"Write", &host_kit::EntryPoints::write, sizeof(norvanepi_write_request),
                   sizeof(norvanepi_write_result)},
    EntryPointInfo{"Seek", &host_kit::EntryPoints::seek, 0, sizeof(norvanepi_seek_result)},
    EntryPointInfo{"IOCTL", &host_kit::EntryPoints::ioctl, sizeof(norvanepi_ioctl_request),
                   sizeof(norvanepi_ioctl_result)},
};

/// A copy of a record between two guard zones.
class GuardedRecord {
  public:
    GuardedRecord(const void* record, std::size_t size) : bytes_(size + 2 * kGuardSize, kGuard), size_(size) {
        const auto* const from = static_cast<const platform::Byte*>(record);
        std::copy_n(from, size, bytes_.begin() + kGuardSize);
        before_ = bytes_;
    }

    [[nodiscard]] platform::Byte* record() { return bytes_.data() + kGuardSize; }

    /// Where the module wrote although it may not, in words; empty if nowhere.
    [[nodiscard]] std::string wrong_write(bool output) const {
        for (std::size_t i = 0; i < bytes_.size(); ++i) {
            const bool may_be_written = output && i >= kGuardSize && i < kGuardSize + size_;
            if (may_be_written || bytes_[i] == before_[i]) continue;
            if (i < kGuardSize) return "before the start of";
            if (i < kGuardSize + size_) return fmt::format("to byte {} of", i - kGuardSize);
            return "past the end of";
        }
        return {};
    }

    /// From here on the module may not write to it.
    void end() { std::ranges::fill(bytes_, kEnded); }
    [[nodiscard]] bool is_left_alone() const {
        return std::ranges::all_of(bytes_, [](platform::Byte byte) { return byte == kEnded; });
    }

  private:
    std::vector<platform::Byte> bytes_;
    std::vector<platform::Byte> before_;
    std::size_t size_;
};

struct EndedRecord {
    std::string call;
    GuardedRecord record;
};

struct Shared {
    std::mutex mutex;  // of the following
    std::deque<EndedRecord> ended_records;
    std::map<const InCall*, std::string> calls;
};

// The wrapped functions have no parameter for an object, so their state is global.
Shared& shared() {
    static Shared shared;
    return shared;
}
host_kit::EntryPoints wrapped;
std::atomic<std::chrono::nanoseconds::rep> time_limit;
thread_local const char* current_name = nullptr;
void (*exit_handler)() = nullptr;

/// The handler that is registered last runs first.
void register_exit_handler() {
    if (exit_handler != nullptr && std::atexit(exit_handler) != 0)
        throw ModuleFault("cannot register an exit handler");
}

void require_left_alone(const EndedRecord& ended) {
    if (ended.record.is_left_alone()) return;
    throw ModuleFault(
        fmt::format("the module wrote to a record of {} after that call had returned", ended.call));
}

void keep(const std::string& call, GuardedRecord record) {
    record.end();
    const std::lock_guard lock(shared().mutex);
    auto& records = shared().ended_records;
    records.push_back({call, std::move(record)});
    if (records.size() <= kRecordsKept) return;
    const EndedRecord oldest = std::move(records.front());
    records.pop_front();
    require_left_alone(oldest);
}

const char* name_of(const EntryPointInfo& info, const void* input) {
    if (std::string_view(info.name) != "IOCTL" || input == nullptr) return info.name;
    switch (host_records::Input<host_records::IoctlRequest>(input).get<host_records::IoctlRequest::Code>()) {
        case NORVANEPI_RUN_MAIN_LOOP:
            return kMainLoop;
        case NORVANEPI_QUEUE_MESSAGE:
            return "IOCTL code 2";
        default:
            return info.name;
    }
}

std::int32_t call_without_exception(const char* name, host_kit::EntryPoint* entry_point, const void* input,
                                    void* output) {
    try {
        return entry_point(input, output);
    } catch (const std::exception& error) {
        throw ModuleFault(fmt::format("{} threw an exception: {}", name, error.what()));
    }
}

void require_no_write(const char* name, const char* kind, const GuardedRecord& record, bool output) {
    if (const std::string where = record.wrong_write(output); !where.empty())
        throw ModuleFault(fmt::format("{} wrote {} its {} record", name, where, kind));
}

std::int32_t call_checked(const EntryPointInfo& info, const void* input, void* output) {
    const char* const name = name_of(info, input);
    const InCall in_call(name);
    if (wrapped.*info.entry_point == wrapped.close) register_exit_handler();
    GuardedRecord guarded_input(input, input == nullptr ? 0 : info.input_size);
    GuardedRecord guarded_output(output, output == nullptr ? 0 : info.output_size);
    const bool copied = input != nullptr && info.input_size > 0;
    const auto begin = std::chrono::steady_clock::now();
    const std::int32_t result =
        call_without_exception(name, wrapped.*info.entry_point, copied ? guarded_input.record() : input,
                               output == nullptr ? nullptr : guarded_output.record());
    const std::chrono::duration<double> time = std::chrono::steady_clock::now() - begin;
    require_no_write(name, "input", guarded_input, false);
    require_no_write(name, "output", guarded_output, true);
    if (result != 0) throw ModuleFault(fmt::format("{} returned {}, not 0", name, result));
    const std::chrono::duration<double> limit = std::chrono::nanoseconds(time_limit.load());
    if (time > limit && name != kMainLoop)
        throw ModuleFault(
            fmt::format("{} took {:.1f} s; the limit is {:.0f} s", name, time.count(), limit.count()));
    if (output != nullptr)
        std::copy_n(guarded_output.record(), info.output_size, static_cast<platform::Byte*>(output));
    keep(name, std::move(guarded_input));
    keep(name, std::move(guarded_output));
    return result;
}

template <std::size_t Index>
std::int32_t checked(const void* input, void* output) {
    return call_checked(kEntryPoints.at(Index), input, output);
}

struct FieldName {
    std::size_t offset;
    const char* name;
};
#define FIELD(record, member)                         \
    FieldName {                                       \
        offsetof(norvanepi_##record, member), #member \
    }

constexpr std::array kModuleInfo = {
    FIELD(module_info, reserved0), FIELD(module_info, identifier), FIELD(module_info, word12),
    FIELD(module_info, word16),    FIELD(module_info, word20),     FIELD(module_info, word24),
    FIELD(module_info, word28),    FIELD(module_info, word32),     FIELD(module_info, word36),
    FIELD(module_info, word40),    FIELD(module_info, reserved44), FIELD(module_info, word52),
    FIELD(module_info, half56),    FIELD(module_info, reserved58), FIELD(module_info, word60)};
constexpr std::array kStatus = {FIELD(close_result, reserved0), FIELD(close_result, status)};
constexpr std::array kRead = {FIELD(read_result, reserved0), FIELD(read_result, count)};
constexpr std::array kWrite = {FIELD(write_result, reserved0), FIELD(write_result, status),
                               FIELD(write_result, count)};
constexpr std::array kIoctl = {FIELD(ioctl_result, reserved0), FIELD(ioctl_result, status),
                               FIELD(ioctl_result, count)};
constexpr std::array kRequest = {FIELD(host_request, record_size), FIELD(host_request, word4),
                                 FIELD(host_request, length),      FIELD(host_request, word12),
                                 FIELD(host_request, data),        FIELD(host_request, identifier),
                                 FIELD(host_request, word28),      FIELD(host_request, message_class),
                                 FIELD(host_request, word36),      FIELD(host_request, zeros)};
constexpr std::array kReply = {FIELD(host_reply, record_size), FIELD(host_reply, word4),
                               FIELD(host_reply, result)};
#undef FIELD

std::span<const FieldName> fields_of(std::string_view record) {
    if (record == "Load") return kModuleInfo;
    if (record == "Read") return kRead;
    if (record == "Write") return kWrite;
    if (record.starts_with("IOCTL")) return kIoctl;
    if (record == "request") return kRequest;
    if (record == "reply") return kReply;
    return kStatus;  // Open's has the same offset
}

}  // namespace

InCall::InCall(const char* name) : outer_(current_name) {
    current_name = name;
    const std::lock_guard lock(shared().mutex);
    shared().calls.emplace(this, name);
}

InCall::~InCall() {
    current_name = outer_;
    const std::lock_guard lock(shared().mutex);
    shared().calls.erase(this);
}

const char* InCall::current() {
    return current_name == nullptr ? "" : current_name;
}

std::string InCall::in_progress() {
    const std::lock_guard lock(shared().mutex);
    if (shared().calls.empty()) return {};
    std::string names;
    for (const auto& [call, name] : shared().calls) {
        if (name == kMainLoop) continue;
        names += (names.empty() ? "" : " and ") + name;
    }
    return names.empty() ? kMainLoop : names;
}

CheckedLibrary::CheckedLibrary(const std::filesystem::path& file, std::chrono::nanoseconds limit) {
    const InCall in_call("the start of the library");
    time_limit = limit.count();
    library_.emplace(file);
    wrapped = library_->entry_points();
    register_exit_handler();
}

CheckedLibrary::~CheckedLibrary() {
    const InCall in_call("the end of the library");
    library_.reset();
}

host_kit::EntryPoints CheckedLibrary::entry_points() {
    return {.load = checked<0>,
            .unload = checked<1>,
            .open = checked<2>,
            .close = checked<3>,
            .read = checked<4>,
            .write = checked<5>,
            .seek = checked<6>,
            .ioctl = checked<7>};
}

void CheckedLibrary::set_exit_handler(void (*handler)()) {
    exit_handler = handler;
}

void CheckedLibrary::require_records_left_alone() {
    const std::lock_guard lock(shared().mutex);
    for (const EndedRecord& ended : shared().ended_records) require_left_alone(ended);
}

std::string field_at(const std::string& record, std::size_t offset) {
    std::string name;
    for (const FieldName& field : fields_of(record)) {
        if (field.offset <= offset) name = field.name;
    }
    return name;
}

}  // namespace recorder
