#pragma once

// The host is killed again and again while cameras keep recording: what is recovered in the end?

#include <array>
#include <cstdint>

#include "tools/recorder/host/options.h"
#include "tools/recorder/model/camera.h"

namespace recorder::crash {

/// What a host that is killed was doing: waiting; answering a request; having a clip converted; having sent
/// what the module must not forget.
enum class Moment { kIdle, kRequest, kConversion, kChange };
inline constexpr std::array kMoments = {"idle", "request", "conversion", "change"};

/// The lines that a host prints for the program that kills it: the name of a moment, or one of these words
/// with a camera's number and a second. From that second on, the host itself records the camera, or does not.
/// The last word has only a second: all cameras are connected, and the host lives until the end.
inline constexpr const char* kRecords = "records";
inline constexpr const char* kMisses = "misses";
inline constexpr const char* kEnd = "end";

inline constexpr std::size_t kCameras = 4;
[[nodiscard]] Camera camera(std::size_t number);

/// Kills hosts, prints the account and returns the exit status. Throws cli::CannotRun.
int run(const Options& options);

/// One host: with random events until it is killed, or without them until nothing is pending.
int run_host(const Options& options);

}  // namespace recorder::crash
