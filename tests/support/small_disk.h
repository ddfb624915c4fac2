#pragma once

#include <sched.h>
#include <sys/mount.h>
#include <sys/stat.h>

#include <string>
#include <utility>

/// Mounts a disk of a few blocks on a directory while it exists, if the system permits it. Only this process
/// and its children see it.
class SmallDisk {
  public:
    explicit SmallDisk(std::string directory) : directory_(std::move(directory)) {
        ::mkdir(directory_.c_str(), 0777);
        // Without the second call, other processes would still see the mount.
        mounted_ = ::unshare(CLONE_NEWNS) == 0 &&
                   ::mount(nullptr, "/", nullptr, MS_REC | MS_PRIVATE, nullptr) == 0 &&
                   ::mount("small", directory_.c_str(), "tmpfs", 0, "size=32k") == 0;
    }
    SmallDisk(const SmallDisk&) = delete;
    SmallDisk& operator=(const SmallDisk&) = delete;
    ~SmallDisk() {
        if (mounted_) ::umount(directory_.c_str());
    }

    [[nodiscard]] bool mounted() const { return mounted_; }

  private:
    std::string directory_;
    bool mounted_;
};
