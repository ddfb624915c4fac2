#pragma once

#include <cstdint>

namespace norvane {

/// What the module does beyond its default behaviour, which the values below select. The host's operator
/// changes them in norvanepi.conf (docs/profiles.md); each comment names the key.
struct Options {
    bool journal = false;              // journal: lists and heartbeat on disk while the module runs
    bool channels = false;             // channels: each channel has its own gap, also after a restart
    std::int32_t request_timeout = 0;  // request-timeout: seconds until a request counts as failed; 0: never
    bool attempts = false;             // attempts: only failures count as attempts
    std::int32_t retries = 0;          // retries: before an operation counts as failed; 0: one, then dropped
    std::int32_t retry_delay = 60;     // retry-delay: seconds before the first retry, then doubled
    std::int32_t failed_for = 30;      // failed-for: days for which a failed operation is kept
    bool parameter_sets = false;       // parameter-sets: those of the sample description before key frames
    bool sample_times = false;         // sample-times: each frame's own time from its own track
    bool all_clips = false;            // all-clips: every H.264 clip, and only H.264
    bool keep_failed_clips = false;    // keep-failed-clips: a clip is removed only after a full conversion
    bool keep_recordings = false;      // keep-recordings: recordings of another time are not overwritten
    bool well_formed_log = false;      // well-formed-log: every log line is valid XML
    bool directory_separator = false;  // directory-separator: added to an output directory that lacks one

    friend bool operator==(const Options&, const Options&) = default;
};

/// Everything that prevents losses: the profile "safe".
[[nodiscard]] constexpr Options safe_options() {
    return {.journal = true,
            .channels = true,
            .request_timeout = 600,
            .attempts = true,
            .retries = 5,
            .retry_delay = 60,
            .failed_for = 30,
            .parameter_sets = true,
            .sample_times = true,
            .all_clips = true,
            .keep_failed_clips = true,
            .keep_recordings = true,
            .well_formed_log = true,
            .directory_separator = true};
}

}  // namespace norvane
