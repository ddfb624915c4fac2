#pragma once

// Faults at the border to the system. A program that links this has the C library's file functions replaced,
// for itself and for every library in it: calls go through unless they were made on a thread whose schedule
// says otherwise. The product has no seam for this and pays nothing.

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
    kRandom
};
inline constexpr std::array kNames = {"open",   "close",  "stat",     "read",   "write", "seek",  "mkdir",
                                      "unlink", "rename", "readlink", "fchmod", "fsync", "random"};
inline constexpr std::size_t kKinds = kNames.size();

enum class Way {
    kNothing,   // only counts
    kFails,     // with the error, and without having done anything
    kIsShort,   // reads or writes half of what it could
    kKills,     // ends the process with SIGKILL in place of the call
    kKillsHalf  // and behind half of the write
};

struct Fault {
    Kind kind = Kind::kOpen;
    std::uint64_t at = 0;  // the call of that kind that it befalls, from 1
    Way way = Way::kNothing;
    int error = 0;
    bool from_then_on = false;
};

/// Befalls the calls of the thread that made it, while it lives. One at a time. Flushes never reach the disk
/// meanwhile: no test pulls the plug, and thousands of them would wait for it.
class Schedule {
  public:
    explicit Schedule(const Fault& fault);
    Schedule(const Schedule&) = delete;
    Schedule& operator=(const Schedule&) = delete;
    ~Schedule();

    [[nodiscard]] std::uint64_t calls(Kind kind) const { return calls_[static_cast<std::size_t>(kind)]; }
    [[nodiscard]] bool has_struck() const { return struck_; }
    /// The path of the call that the fault befell first; that of its file where it was given a descriptor.
    [[nodiscard]] const std::string& path() const { return path_; }

    /// For the replaced functions: counts the call; how it goes.
    [[nodiscard]] Way next(Kind kind, const char* path, int descriptor);
    [[nodiscard]] int error() const { return fault_.error; }

  private:
    Fault fault_;
    std::array<std::uint64_t, kKinds> calls_{};
    bool struck_ = false;
    std::string path_;
};

}  // namespace system_calls
