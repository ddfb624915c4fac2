#pragma once

// Files that programs write under a temporary name. Only tools need this; the module does not.

#include <cstdio>
#include <memory>
#include <string>

namespace platform {

/// Creates a file for writing, with mode 0666 less the umask. Null if the path exists or on another failure;
/// errno has the reason. On Windows the open file can be removed.
[[nodiscard]] std::FILE* create_new_file(const std::string& path);

/// Flushes the stream and everything that this process wrote to the file. False on failure, with errno set.
[[nodiscard]] bool flush_to_disk(std::FILE* file);

/// Removes the file if Ctrl-C or a request to terminate ends the process while this object exists. A file
/// that grows past a limit of its size is then a failed write, not the end of the process. At most 64 objects
/// at a time have this effect.
class RemovedOnTermination {
  public:
    explicit RemovedOnTermination(std::string path);
    RemovedOnTermination(const RemovedOnTermination&) = delete;
    RemovedOnTermination& operator=(const RemovedOnTermination&) = delete;
    ~RemovedOnTermination();

  private:
    std::string path_;
};

/// Ctrl-C and requests to terminate end the process only after this object, so that renames that belong
/// together are either all done or not begun. For programs without other threads at that time. It does not
/// delay a kill.
class DelayedTermination {
  public:
    DelayedTermination();
    DelayedTermination(const DelayedTermination&) = delete;
    DelayedTermination& operator=(const DelayedTermination&) = delete;
    ~DelayedTermination();

  private:
    struct State;
    std::unique_ptr<State> state_;
};

}  // namespace platform
