#pragma once

#include <boost/icl/interval_set.hpp>
#include <cstdint>
#include <filesystem>
#include <map>
#include <optional>
#include <string>
#include <vector>

#include "tools/recorder/model/camera.h"

namespace recorder::crash {

/// Milliseconds since 1970, each with its end outside.
using Times = boost::icl::interval_set<std::int64_t>;

/// Sums over all cameras, in milliseconds.
struct Sums {
    std::int64_t lost = 0;  // not recorded by the host
    std::int64_t recovered = 0;
    std::size_t faulty_recordings = 0;

    [[nodiscard]] std::int64_t missing() const { return lost - recovered; }
};

/// What a host recorded itself, and what recordings of clips add to it.
class Account {
  public:
    explicit Account(std::size_t cameras) : cameras_(cameras) {}

    void host_records(std::size_t camera, Seconds from);
    void host_misses(std::size_t camera, Seconds from);
    /// The host has ended: it recorded no camera any longer.
    void host_ends(Seconds at);

    /// Reads all recordings below the directory. Only those without a fault count.
    [[nodiscard]] Sums sums(const std::filesystem::path& recordings, Seconds end) const;

  private:
    struct CameraTimes {
        std::optional<Seconds> first;
        std::optional<Seconds> since;  // while the host records it
        Times recorded;
    };
    std::vector<CameraTimes> cameras_;
};

}  // namespace recorder::crash
