#pragma once

// Makes system calls fail. Replaces the C library's file functions in the whole program, including its
// libraries. Calls are passed on unless the calling thread has a FaultInjection. The product itself contains
// no code for this.

#include <array>
#include <cstdint>
#include <string>

namespace system_calls {

enum class Kind {
    kOpen,
    kClose,
    kStatus,
    kRead,
    kWrite,
    kSeek,
    kMakeDirectory,
    kRemove,
    kRename,
    kReadLink,
    kSetMode,
    kFlush,
    kRandom,
    kLink,
    kTruncate
};
inline constexpr std::array kNames = {"open",   "close", "stat",   "read",   "write",
                                      "seek",   "mkdir", "unlink", "rename", "readlink",
                                      "fchmod", "fsync", "random", "link",   "truncate"};
inline constexpr std::size_t kKinds = kNames.size();
inline constexpr std::size_t kModuleKinds = kKinds - 2;  // only tools make the last two

enum class Effect {
    kNone,          // the call is only counted
    kFail,          // it does nothing and reports the error
    kShort,         // it reads or writes half of the bytes
    kKill,          // SIGKILL ends the process instead of the call
    kKillAfterHalf  // SIGKILL ends the process after half of a write
};

struct Fault {
    Kind kind = Kind::kOpen;
    std::uint64_t at = 0;  // the affected call of this kind, counted from 1
    Effect effect = Effect::kNone;
    int error = 0;
    bool from_then_on = false;
    bool all_threads = false;  // also those that are created later
};

/// While it exists, affects the calls of the thread that created it, or of all threads. One object at a time.
/// fsync does nothing meanwhile: no test cuts the power, and thousands of calls would wait for the disk.
class FaultInjection {
  public:
    explicit FaultInjection(const Fault& fault);
    FaultInjection(const FaultInjection&) = delete;
    FaultInjection& operator=(const FaultInjection&) = delete;
    ~FaultInjection();

    [[nodiscard]] std::uint64_t calls(Kind kind) const { return calls_[static_cast<std::size_t>(kind)]; }
    [[nodiscard]] bool triggered() const { return triggered_; }
    /// The path of the first affected call, or of the file that its descriptor refers to.
    [[nodiscard]] const std::string& path() const { return path_; }

    /// For the replaced functions: counts the call and returns its effect.
    [[nodiscard]] Effect next(Kind kind, const char* path, int descriptor);
    [[nodiscard]] int error() const { return fault_.error; }

  private:
    Fault fault_;
    std::array<std::uint64_t, kKinds> calls_{};
    bool triggered_ = false;
    std::string path_;
};

}  // namespace system_calls
