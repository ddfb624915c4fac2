#include "tests/support/system_calls.h"

#include <dlfcn.h>
#include <fcntl.h>
#include <sys/random.h>
#include <sys/stat.h>
#include <sys/uio.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <bit>
#include <cerrno>
#include <csignal>
#include <cstdarg>
#include <cstdio>
#include <utility>

using system_calls::Effect;
using system_calls::FaultInjection;
using system_calls::Kind;

namespace {

thread_local FaultInjection* the_injection = nullptr;
std::atomic<FaultInjection*> of_all_threads = nullptr;
thread_local bool in_injection = false;  // calls made in there do not count

FaultInjection* injection_here() {
    return the_injection != nullptr ? the_injection : of_all_threads.load();
}

/// The C library's own function.
template <typename Function>
Function* next(const char* name) {
    return std::bit_cast<Function*>(::dlsym(RTLD_NEXT, name));
}

std::string path_of(int descriptor) {
    std::array<char, 4'096> path{};
    const std::string link = "/proc/self/fd/" + std::to_string(descriptor);
    const auto length = next<decltype(::readlink)>("readlink")(link.c_str(), path.data(), path.size());
    return {path.data(), length < 0 ? 0U : static_cast<std::size_t>(length)};
}

/// Counts the call; sets errno if it must fail, and ends the process if that is the effect.
Effect effect_of(Kind kind, const char* path, int descriptor = -1) {
    FaultInjection* const injection = injection_here();
    if (injection == nullptr || std::exchange(in_injection, true)) return Effect::kNone;
    const Effect effect = injection->next(kind, path, descriptor);
    if (effect == Effect::kKill) ::kill(::getpid(), SIGKILL);
    in_injection = false;
    if (effect == Effect::kFail) errno = injection->error();
    return effect;
}
Effect effect_of(Kind kind, int descriptor) {
    return effect_of(kind, nullptr, descriptor);
}

/// Passes a call on whose first argument is a path or a descriptor.
template <typename Result = int, typename Object, typename... More>
Result call(Kind kind, const char* name, Object object, More... more) {
    return effect_of(kind, object) == Effect::kFail ? -1
                                                    : next<Result(Object, More...)>(name)(object, more...);
}

/// The same for a call that transfers `count` bytes, or half of them.
template <typename Call>
::ssize_t transfer(Kind kind, int descriptor, std::size_t count, Call through) {
    const Effect effect = effect_of(kind, descriptor);
    if (effect == Effect::kFail) return -1;
    const bool half = effect == Effect::kShort || effect == Effect::kKillAfterHalf;
    const ::ssize_t done = through(half ? (count + 1) / 2 : count);
    if (effect == Effect::kKillAfterHalf) ::kill(::getpid(), SIGKILL);
    return done;
}

/// The parts that contain the first `count` bytes.
std::array<::iovec, 3> first_of(const ::iovec* parts, int number, std::size_t count) {
    std::array<::iovec, 3> first{};
    for (std::size_t i = 0; i < first.size() && i < static_cast<std::size_t>(number); ++i) {
        first[i] = {parts[i].iov_base, std::min(parts[i].iov_len, count)};
        count -= first[i].iov_len;
    }
    return first;
}

std::size_t size_of(const ::iovec* parts, int number) {
    std::size_t size = 0;
    for (int i = 0; i < number; ++i) size += parts[i].iov_len;
    return size;
}

}  // namespace

FaultInjection::FaultInjection(const Fault& fault) : fault_(fault) {
    the_injection = this;
    if (fault.all_threads) of_all_threads = this;
}

FaultInjection::~FaultInjection() {
    the_injection = nullptr;
    of_all_threads = nullptr;
}

Effect FaultInjection::next(Kind kind, const char* path, int descriptor) {
    const std::uint64_t number = ++calls_[static_cast<std::size_t>(kind)];
    if (kind != fault_.kind || fault_.effect == Effect::kNone) return Effect::kNone;
    if (number != fault_.at && !(fault_.from_then_on && number > fault_.at)) return Effect::kNone;
    if (!std::exchange(triggered_, true)) path_ = path != nullptr ? path : path_of(descriptor);
    return fault_.effect;
}

// The functions that the module and its libraries call, declared as in the system's headers.

#define REPLACED extern "C" __attribute__((visibility("default")))

REPLACED int open(const char* path, int flags, ...) {
    std::va_list more;
    va_start(more, flags);
    const ::mode_t mode = (flags & O_CREAT) != 0 ? va_arg(more, ::mode_t) : 0;
    va_end(more);
    if (effect_of(Kind::kOpen, path) == Effect::kFail) return -1;
    return next<int(const char*, int, ...)>("open")(path, flags, mode);
}

/// A failing close also frees the descriptor.
REPLACED int close(int descriptor) {
    const Effect effect = effect_of(Kind::kClose, descriptor);
    const int error = errno;
    const int result = next<int(int)>("close")(descriptor);
    if (effect != Effect::kFail) return result;
    errno = error;
    return -1;
}

REPLACED int stat(const char* path, struct ::stat* status) noexcept {
    return call(Kind::kStatus, "stat", path, status);
}
REPLACED int stat64(const char* path, struct ::stat64* status) noexcept {
    return call(Kind::kStatus, "stat64", path, status);
}
REPLACED int lstat64(const char* path, struct ::stat64* status) noexcept {
    return call(Kind::kStatus, "lstat64", path, status);
}
REPLACED int fstat(int descriptor, struct ::stat* status) noexcept {
    return call(Kind::kStatus, "fstat", descriptor, status);
}

REPLACED ::ssize_t pread(int descriptor, void* to, std::size_t count, ::off_t at) {
    return transfer(Kind::kRead, descriptor, count,
                    [&](std::size_t n) { return next<decltype(::pread)>("pread")(descriptor, to, n, at); });
}
REPLACED ::ssize_t write(int descriptor, const void* from, std::size_t count) {
    return transfer(Kind::kWrite, descriptor, count,
                    [&](std::size_t n) { return next<decltype(::write)>("write")(descriptor, from, n); });
}
REPLACED ::ssize_t pwrite(int descriptor, const void* from, std::size_t count, ::off_t at) {
    return transfer(Kind::kWrite, descriptor, count, [&](std::size_t n) {
        return next<decltype(::pwrite)>("pwrite")(descriptor, from, n, at);
    });
}
REPLACED ::ssize_t writev(int descriptor, const ::iovec* parts, int number) {
    return transfer(Kind::kWrite, descriptor, size_of(parts, number), [&](std::size_t n) {
        if (number > 3) return next<decltype(::writev)>("writev")(descriptor, parts, number);
        return next<decltype(::writev)>("writev")(descriptor, first_of(parts, number, n).data(), number);
    });
}
REPLACED ::off_t lseek(int descriptor, ::off_t offset, int whence) noexcept {
    return call<::off_t>(Kind::kSeek, "lseek", descriptor, offset, whence);
}

REPLACED int mkdir(const char* path, ::mode_t mode) noexcept {
    return call(Kind::kMakeDirectory, "mkdir", path, mode);
}
REPLACED int unlink(const char* path) noexcept {
    return call(Kind::kRemove, "unlink", path);
}
REPLACED int rename(const char* from, const char* to) noexcept {
    if (effect_of(Kind::kRename, to) == Effect::kFail) return -1;
    return next<int(const char*, const char*)>("rename")(from, to);
}
REPLACED int link(const char* from, const char* to) noexcept {
    return effect_of(Kind::kLink, to) == Effect::kFail ? -1 : next<decltype(::link)>("link")(from, to);
}
REPLACED int truncate(const char* path, ::off_t size) noexcept {
    return call(Kind::kTruncate, "truncate", path, size);
}
REPLACED int truncate64(const char* path, ::off64_t size) noexcept {
    return call(Kind::kTruncate, "truncate64", path, size);
}
REPLACED ::ssize_t readlink(const char* path, char* to, std::size_t size) noexcept {
    return call<::ssize_t>(Kind::kReadLink, "readlink", path, to, size);
}
REPLACED int fchmod(int descriptor, ::mode_t mode) noexcept {
    return call(Kind::kSetMode, "fchmod", descriptor, mode);
}
REPLACED int fsync(int descriptor) {
    if (injection_here() == nullptr) return next<int(int)>("fsync")(descriptor);
    return effect_of(Kind::kFlush, descriptor) == Effect::kFail ? -1 : 0;
}
REPLACED int fdatasync(int descriptor) {
    return ::fsync(descriptor);
}
REPLACED ::ssize_t getrandom(void* to, std::size_t size, unsigned flags) {
    if (effect_of(Kind::kRandom, "") == Effect::kFail) return -1;
    return next<decltype(::getrandom)>("getrandom")(to, size, flags);
}
